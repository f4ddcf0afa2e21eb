#include <memory>

#include "host/auth/AccountTables.h"
#include "host/cli/AccountFile.h"
#include "host/cli/Commands.h"
#include "host/config/Password.h"
#include "host/text/HostError.h"
#include "host/text/JsonText.h"
#include "host/text/Output.h"

namespace vms::host {
namespace {

struct UserOptions {
    std::string config;
    std::string name;
    std::string role;
    PasswordSource password;
    bool json = false;
};

std::string NewPassword(const UserOptions& options) {
    std::string password = ResolvePassword(options.password);
    if (password.empty())
        throw HostError("give the password by --password-file or VMS_PASSWORD");
    if (const std::string problem = PasswordProblem(password); !problem.empty())
        throw HostError(problem);
    return password;
}

int RunAdd(const UserOptions& options) {
    const std::string password = NewPassword(options);
    AccountFile file(options.config);
    const UserRecord user =
        file.Secrets().MakeUser(options.name, *ReadRole(options.role), password, TimeNow());
    file.Data().WriteNow([&user](SqlConnection& sql) { AddUser(sql, user); });
    return 0;
}

int RunPassword(const UserOptions& options) {
    const std::string password = NewPassword(options);
    AccountFile file(options.config);
    UserRecord fresh = file.Secrets().MakeUser(options.name, Role::kNone, password, TimeNow());
    file.Data().WriteNow([&fresh](SqlConnection& sql) {
        std::string stamp;
        for (const UserRecord& user : LoadUsers(sql)) {
            if (user.name == fresh.name) {
                fresh.role = user.role;
                stamp = user.stamp;
            }
        }
        ChangeUser(sql, fresh, stamp);
    });
    return 0;
}

int RunList(const UserOptions& options) {
    AccountFile file(options.config);
    std::vector<UserRecord> users;
    file.Data().ReadNow([&users](SqlConnection& sql) { users = LoadUsers(sql); });
    for (const UserRecord& user : users) {
        Json::Value line(Json::objectValue);
        line["name"] = user.name;
        line["role"] = RoleName(user.role);
        PrintLine(options.json ? CompactJson(line) : user.name + "\t" + RoleName(user.role));
    }
    return 0;
}

int RunRemove(const UserOptions& options) {
    AccountFile file(options.config);
    file.Data().WriteNow([&options](SqlConnection& sql) { RemoveUser(sql, options.name); });
    return 0;
}

using Shared = std::shared_ptr<UserOptions>;

Options AddUserCommand(CLI::App& group, Invocation& invocation, const CommandInfo& info,
                       const Shared& options, int (*run)(const UserOptions&)) {
    Options command =
        AddCommand(group, invocation, info, [options, run](Host&) { return run(*options); });
    command.RequiredText("--config", options->config, "Configuration file, which names the state");
    return command;
}

void AddName(Options& command, UserOptions& options) {
    command.RequiredText("NAME", options.name, "Name of the user", CheckName);
}

void AddPassword(Options& command, UserOptions& options) {
    command.Either("--password", options.password.text,
                   "Password (default: environment variable VMS_PASSWORD)", "--password-file",
                   options.password.file, "File whose first line is the password");
}

}  // namespace

void AddUser(CLI::App& app, Invocation& invocation) {
    CLI::App& group = AddGroup(app, "user", "Users of the host, whether it runs or not");
    const auto options = std::make_shared<UserOptions>();
    Options add =
        AddUserCommand(group, invocation,
                       {.name = "add",
                        .description = "Add a user",
                        .example = "vmshost user add anna --role operator --config vmshost.json "
                                   "--password-file secret"},
                       options, RunAdd);
    AddName(add, *options);
    AddPassword(add, *options);
    add.RequiredText("--role", options->role, "viewer, operator or admin", CheckRole);

    Options password = AddUserCommand(
        group, invocation,
        {.name = "password",
         .description = "Give a user another password, which logs him out everywhere",
         .example = "vmshost user password anna --config vmshost.json --password-file secret"},
        options, RunPassword);
    AddName(password, *options);
    AddPassword(password, *options);

    Options list = AddUserCommand(group, invocation,
                                  {.name = "list",
                                   .description = "List the users and their roles",
                                   .example = "vmshost user list --config vmshost.json"},
                                  options, RunList);
    list.Flag("--json", options->json, "Print a JSON object per line");

    Options remove = AddUserCommand(group, invocation,
                                    {.name = "remove",
                                     .description = "Remove a user; what he watches ends",
                                     .example = "vmshost user remove anna --config vmshost.json"},
                                    options, RunRemove);
    AddName(remove, *options);
}

}  // namespace vms::host
