#pragma once

#include <functional>
#include <optional>
#include <string>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace vms::host {

/// The options of one command. Targets hold the defaults, are filled while the command line is
/// parsed and must live until then. Keeps the command-line library, slow to compile, out of the
/// commands.
class Options {
public:
    using Check = std::function<std::string(const std::string&)>;

    /// @param command not owned
    explicit Options(CLI::App& command) : command_(command) {}

    void Flag(const std::string& name, bool& target, const std::string& help);
    void Text(const std::string& name, std::string& target, const std::string& help);
    /// @param check says what is wrong with a value, "" = nothing
    void RequiredText(const std::string& name, std::string& target, const std::string& help,
                      const Check& check = {});
    void Integer(const std::string& name, int& target, const std::string& help, int lowest,
                 int highest);
    void Seconds(const std::string& name, double& target, const std::string& help, double highest);
    /// Two optional texts of which at most one may be given.
    void Either(const std::string& name, std::optional<std::string>& target,
                const std::string& help, const std::string& otherName,
                std::optional<std::string>& other, const std::string& otherHelp);

    /// --timeout in seconds, at most as long as the bus keeps an unanswered request.
    void AnswerTimeout(double& seconds);

private:
    CLI::App& command_;
};

}  // namespace vms::host
