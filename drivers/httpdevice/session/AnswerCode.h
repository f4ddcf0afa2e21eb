#pragma once

#include <string>

namespace vms::httpdevice {

/// What the "code" of a device's answer means.
enum AnswerCode : int {
    kUnusable = -1,  ///< no JSON object with a number "code"
    kDone = 0,
    kNoSession = 1001,
    kSessionExpired = 1002,
    kKeyProofOwed = 1006,
};

/// @return kUnusable, or the number, whichever it is
int AnswerCodeOf(const std::string& answer);

/// Whether logging in afresh will help.
inline bool WantsLogin(int code) {
    return code == kNoSession || code == kSessionExpired;
}

}  // namespace vms::httpdevice
