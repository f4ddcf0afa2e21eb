#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/support/TestSocket.h"

namespace vms::test {

struct TestResponse {
    int status = 0;                              ///< 0 = none came
    std::map<std::string, std::string> headers;  ///< names in lower case
    std::string body;
};

/// An HTTP/1.1 client connection on a raw socket.
class TestHttp {
public:
    explicit TestHttp(int port) : socket_(port) {}

    /// @param headers whole lines without their ends
    bool Send(const std::string& method, const std::string& target, const std::string& body = {},
              const std::vector<std::string>& headers = {});

    /// Takes status line and headers. @return false when none came
    [[nodiscard]] bool ReadHead(TestResponse& response);
    /// Takes the next piece of a chunked body, "" = it has ended. @return false when none came
    [[nodiscard]] bool ReadChunk(std::string& chunk);
    /// Takes a whole response; its status stays 0 when none came.
    TestResponse Read();

    TestSocket& Socket() { return socket_; }

private:
    TestSocket socket_;
};

/// One request on a connection of its own.
TestResponse Fetch(int port, const std::string& method, const std::string& target,
                   const std::string& body = {}, const std::vector<std::string>& headers = {});

}  // namespace vms::test
