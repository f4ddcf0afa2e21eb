#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vms::sim {

/// Ways in which a simulated camera misbehaves.
enum class Fault {
    // What the camera is or holds.
    kRefused,
    kWrongPassword,
    kWrongClock,
    kProfiles,
    kNoMedia,
    kMediaXAddrJunk,
    kOtherHost,
    kRtsps,
    kShortUri,
    kEmptyUri,
    kToken,
    kMediaPath,
    kReferences,
    // Answers of its own.
    kSoapFaultAnswer,
    kCapabilitiesEmpty,
    kMustUnderstand,
    kHugeProfiles,
    kNonXml,
    kNotSoap,
    kDeepNesting,
    kDeepSecurity,
    kEntities,
    kHttp500Html,
    kRedirect,
    // Answers broken on the wire.
    kSilent,
    kDelay,
    kSlow,
    kTruncated,
    kDropAfterHeaders,
    kWrongContentLength,
    kHuge,
    // Discovery.
    kDiscoverySilent,
    kDiscoveryJunk,
    kDiscoveryTruncated,
    kDiscoveryHuge,
    kDiscoveryNoXAddrs,
    kDiscoveryXAddrsJunk,
    kDiscoveryXAddrsList,
    kDiscoveryNoName,
    kDiscoveryPlainName,
    kDiscoveryEmpty,
    kDiscoveryEmptyBody,
    kDiscoveryTwice,
};

struct FaultInfo {
    Fault fault;
    const char* name;
    const char* defaultValue;
    const char* defaultOperation;  ///< "" = any operation
    const char* help;
};

const std::vector<FaultInfo>& FaultCatalogue();

struct FaultRule {
    Fault fault;
    std::string operation;  ///< "" = any operation
    std::string value;

    long long Number() const;
};

/// Reads NAME[@OPERATION][=VALUE].
/// @throws std::invalid_argument with a text for the user
FaultRule ParseFaultRule(std::string_view text);

/// The faults of one camera.
class FaultSet {
public:
    /// A rule for the same fault and operation replaces the earlier one.
    void Add(FaultRule rule);
    /// @return null when the fault does not apply; a rule for the operation wins over a general one
    const FaultRule* Find(Fault fault, std::string_view operation = {}) const;
    bool Has(Fault fault, std::string_view operation = {}) const {
        return Find(fault, operation) != nullptr;
    }
    std::vector<std::string> Describe() const;

private:
    std::vector<FaultRule> rules_;
};

}  // namespace vms::sim
