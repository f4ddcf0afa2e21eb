#pragma once

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace vms::sim {

/// Thrown by the handling of a request; becomes the fault that the client gets.
class SoapFault : public std::runtime_error {
public:
    enum class Code { kSender, kReceiver, kVersionMismatch, kMustUnderstand };

    SoapFault(Code code, std::vector<std::string> subcodes, const std::string& reason)
        : std::runtime_error(reason), code_(code), subcodes_(std::move(subcodes)) {}

    Code code() const { return code_; }
    /// Local names in the ONVIF error namespace, outermost first.
    const std::vector<std::string>& subcodes() const { return subcodes_; }

    static SoapFault NotAuthorized() {
        return {Code::kSender, {"NotAuthorized"}, "Sender not authorized"};
    }
    static SoapFault ActionNotSupported(const std::string& action) {
        return {
            Code::kReceiver, {"ActionNotSupported"}, "Optional action not implemented: " + action};
    }
    static SoapFault InvalidArgument(const std::string& detail, const std::string& reason) {
        return {Code::kSender, {"InvalidArgVal", detail}, reason};
    }
    static SoapFault Malformed(const std::string& reason) {
        return {Code::kSender, {"WellFormed"}, reason};
    }

private:
    Code code_;
    std::vector<std::string> subcodes_;
};

}  // namespace vms::sim
