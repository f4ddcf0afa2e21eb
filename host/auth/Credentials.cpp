#include "host/auth/Credentials.h"

#include <algorithm>
#include <cctype>

#include "host/auth/AccountTables.h"
#include "host/auth/PasswordHash.h"

namespace vms::host {
namespace {

constexpr char kKeyFile[] = "digest.key";
constexpr size_t kMd5Letters = 32;
constexpr size_t kSha256Letters = 64;
constexpr size_t kLongestName = 64;
constexpr size_t kShortestPassword = 8;
constexpr size_t kStampBytes = 16;

}  // namespace

Credentials::Credentials(State& state) : sealer_(state.Key(kKeyFile, Sealer::kKeyBytes)) {
    state.Data().WriteNow(
        [this, realm = "vmshost-" + RandomHex(8), key = RandomSecret()](SqlConnection& sql) {
            realm_ = KeptSetting(sql, "realm", realm);
            signingKey_ = KeptSetting(sql, "signing key", key);
        });
}

UserRecord Credentials::MakeUser(const std::string& name, Role role, const std::string& password,
                                 int64_t now) const {
    UserRecord user{.name = name, .role = role, .created = now};
    SetPassword(user, password);
    return user;
}

void Credentials::SetPassword(UserRecord& user, const std::string& password) const {
    user.password = HashPassword(password);
    user.digest = SealDigest(user.name, password);
    user.stamp = RandomHex(kStampBytes);
}

UserRecord Credentials::MakeConfiguredUser(const std::string& name, Role role,
                                           const std::string& password) const {
    UserRecord user = MakeUser(name, role, password, 0);
    user.stamp = Base64Url(HmacSha256(signingKey_, RoleName(role) + ":" + password));
    user.isConfigured = true;
    return user;
}

TokenRecord Credentials::MakeToken(const std::string& name, Role role, const std::string& token,
                                   int64_t now, int64_t expires) const {
    return {.name = name,
            .role = role,
            .hash = Sha256(token),
            .digest = SealDigest(kTokenUser, token),
            .created = now,
            .expires = expires};
}

std::string Credentials::SealDigest(const std::string& name, const std::string& password) const {
    const std::string text = name + ":" + realm_ + ":" + password;
    return sealer_.Seal(Md5Hex(text) + Sha256Hex(text));
}

std::optional<DigestSecret> Credentials::OpenDigest(const std::string& sealed) const {
    const auto plain = sealer_.Open(sealed);
    if (!plain || plain->size() != kMd5Letters + kSha256Letters)
        return std::nullopt;
    return DigestSecret{plain->substr(0, kMd5Letters), plain->substr(kMd5Letters)};
}

std::string NameProblem(const std::string& name) {
    const bool isGood = !name.empty() && name.size() <= kLongestName &&
                        std::all_of(name.begin(), name.end(), [](char letter) {
                            return std::isalnum(static_cast<unsigned char>(letter)) != 0 ||
                                   std::string_view("._-@").find(letter) != std::string_view::npos;
                        });
    if (!isGood)
        return "a name has 1 to 64 letters, digits, \".\", \"_\", \"-\" or \"@\"";
    return name == kTokenUser ? "the name \"token\" is taken" : "";
}

std::string PasswordProblem(const std::string& password) {
    return password.size() >= kShortestPassword && password.size() <= kLongestPassword
               ? ""
               : "a password has 8 to 1,024 bytes";
}

}  // namespace vms::host
