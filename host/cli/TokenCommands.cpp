#include <memory>

#include "host/auth/AccountTables.h"
#include "host/cli/AccountFile.h"
#include "host/cli/Commands.h"
#include "host/text/JsonText.h"
#include "host/text/Output.h"

namespace vms::host {
namespace {

constexpr int kMostDays = 3650;
constexpr int64_t kSecondsOfDay = 86'400;

struct TokenOptions {
    std::string config;
    std::string name;
    std::string role;
    int days = 0;
    bool json = false;
};

int RunAdd(const TokenOptions& options) {
    AccountFile file(options.config);
    const std::string secret = RandomSecret();
    const int64_t now = TimeNow();
    const TokenRecord token =
        file.Secrets().MakeToken(options.name, *ReadRole(options.role), secret, now,
                                 options.days == 0 ? 0 : now + options.days * kSecondsOfDay);
    file.Data().WriteNow([&token](SqlConnection& sql) { AddToken(sql, token); });
    PrintLine(secret);
    return 0;
}

std::string TokenLine(const TokenRecord& token, bool json) {
    Json::Value line(Json::objectValue);
    line["name"] = token.name;
    line["role"] = RoleName(token.role);
    if (token.expires != 0)
        line["expires"] = static_cast<Json::Int64>(token.expires);
    const bool hasExpired = token.expires != 0 && token.expires <= TimeNow();
    return json ? CompactJson(line)
                : token.name + "\t" + RoleName(token.role) + (hasExpired ? "\texpired" : "");
}

int RunList(const TokenOptions& options) {
    AccountFile file(options.config);
    std::vector<TokenRecord> tokens;
    file.Data().ReadNow([&tokens](SqlConnection& sql) { tokens = LoadTokens(sql); });
    for (const TokenRecord& token : tokens)
        PrintLine(TokenLine(token, options.json));
    return 0;
}

int RunRemove(const TokenOptions& options) {
    AccountFile file(options.config);
    file.Data().WriteNow([&options](SqlConnection& sql) { RemoveToken(sql, options.name); });
    return 0;
}

Options AddTokenCommand(CLI::App& group, Invocation& invocation, const CommandInfo& info,
                        const std::shared_ptr<TokenOptions>& options,
                        int (*run)(const TokenOptions&)) {
    Options command =
        AddCommand(group, invocation, info, [options, run](Host&) { return run(*options); });
    command.RequiredText("--config", options->config, "Configuration file, which names the state");
    return command;
}

}  // namespace

void AddToken(CLI::App& app, Invocation& invocation) {
    CLI::App& group = AddGroup(app, "token", "Tokens for machines, whether the host runs or not");
    const auto options = std::make_shared<TokenOptions>();
    Options add = AddTokenCommand(
        group, invocation,
        {.name = "add",
         .description = "Add a token and print it, this once",
         .example = "vmshost token add recorder --role viewer --days 365 --config vmshost.json"},
        options, RunAdd);
    add.RequiredText("NAME", options->name, "Name of the token", CheckName);
    add.RequiredText("--role", options->role, "viewer, operator or admin", CheckRole);
    add.Integer("--days", options->days, "Days until it expires (default: never)", 1, kMostDays);

    Options list = AddTokenCommand(group, invocation,
                                   {.name = "list",
                                    .description = "List the tokens, their roles and expiry",
                                    .example = "vmshost token list --config vmshost.json"},
                                   options, RunList);
    list.Flag("--json", options->json, "Print a JSON object per line");

    Options remove =
        AddTokenCommand(group, invocation,
                        {.name = "remove",
                         .description = "Remove a token; what is watched with it ends",
                         .example = "vmshost token remove recorder --config vmshost.json"},
                        options, RunRemove);
    remove.RequiredText("NAME", options->name, "Name of the token", CheckName);
}

}  // namespace vms::host
