#include "bench/NullFamily.h"

namespace bench {

int NullController::SendData(long long /*connectionId*/, const char* /*data*/, int /*length*/,
                             bool /*isPlayback*/) {
    return 0;
}

int NullController::SendCommand(long long /*connectionId*/, __tagTvCommand* /*command*/) {
    return 0;
}

void NullController::CloseConnection(long long /*connectionId*/) {}

void NullController::GetServerAddress(std::string& host, int& port) {
    host = "127.0.0.1";
    port = 1;
}

int NullController::QueryDataCount(long long /*connectionId*/) {
    return 0;
}

}  // namespace bench
