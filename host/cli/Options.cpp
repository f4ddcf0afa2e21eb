#include "host/cli/Options.h"

#include <CLI/CLI.hpp>

namespace vms::host {

void Options::Flag(const std::string& name, bool& target, const std::string& help) {
    command_.add_flag(name, target, help);
}

void Options::Text(const std::string& name, std::string& target, const std::string& help) {
    command_.add_option(name, target, help);
}

void Options::RequiredText(const std::string& name, std::string& target, const std::string& help,
                           const Check& check) {
    CLI::Option* option = command_.add_option(name, target, help)->required();
    if (check)
        option->check(CLI::Validator([check](const std::string& text) { return check(text); }, ""));
}

void Options::Integer(const std::string& name, int& target, const std::string& help, int lowest,
                      int highest) {
    command_.add_option(name, target, help)->check(CLI::Range(lowest, highest));
}

void Options::Seconds(const std::string& name, double& target, const std::string& help,
                      double highest) {
    constexpr double kShortest = 0.01;
    command_.add_option(name, target, help)->check(CLI::Range(kShortest, highest));
}

void Options::Either(const std::string& name, std::optional<std::string>& target,
                     const std::string& help, const std::string& otherName,
                     std::optional<std::string>& other, const std::string& otherHelp) {
    CLI::Option* first = command_.add_option(name, target, help);
    command_.add_option(otherName, other, otherHelp)->excludes(first);
}

void Options::AnswerTimeout(double& seconds) {
    Seconds("--timeout", seconds, "Seconds to wait for an answer (default: 70)", 70);
}

}  // namespace vms::host
