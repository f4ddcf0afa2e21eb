#include "tests/support/TestHttp.h"

#include <cctype>
#include <cstdlib>

namespace vms::test {

bool TestHttp::Send(const std::string& method, const std::string& target, const std::string& body,
                    const std::vector<std::string>& headers) {
    std::string request = method + " " + target + " HTTP/1.1\r\nHost: localhost\r\n";
    for (const std::string& header : headers)
        request += header + "\r\n";
    if (!body.empty())
        request += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    return socket_.Send(request + "\r\n" + body);
}

bool TestHttp::ReadHead(TestResponse& response) {
    std::string line;
    if (!socket_.ReadUntil("\r\n", line) || line.rfind("HTTP/1.", 0) != 0)
        return false;
    response.status = std::atoi(line.c_str() + 9);
    while (socket_.ReadUntil("\r\n", line)) {
        if (line == "\r\n")
            return true;
        const size_t colon = line.find(": ");
        if (colon == std::string::npos)
            return false;
        std::string name = line.substr(0, colon);
        for (char& letter : name)
            letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
        response.headers[name] = line.substr(colon + 2, line.size() - colon - 4);
    }
    return false;
}

bool TestHttp::ReadChunk(std::string& chunk) {
    std::string line;
    if (!socket_.ReadUntil("\r\n", line))
        return false;
    const size_t size = std::strtoul(line.c_str(), nullptr, 16);
    std::string end;
    return socket_.Read(size, chunk) && socket_.Read(2, end) && end == "\r\n";
}

TestResponse TestHttp::Read() {
    TestResponse response;
    bool whole = ReadHead(response);
    if (response.headers.count("transfer-encoding") != 0) {
        std::string chunk;
        while ((whole = whole && ReadChunk(chunk)) && !chunk.empty())
            response.body += chunk;
    } else if (const auto length = response.headers.find("content-length");
               length != response.headers.end()) {
        whole =
            whole && socket_.Read(std::strtoul(length->second.c_str(), nullptr, 10), response.body);
    }
    return whole ? response : TestResponse{};
}

TestResponse Fetch(int port, const std::string& method, const std::string& target,
                   const std::string& body, const std::vector<std::string>& headers) {
    TestHttp client(port);
    client.Send(method, target, body, headers);
    return client.Read();
}

}  // namespace vms::test
