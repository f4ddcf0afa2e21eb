#pragma once

#include <map>
#include <string>

#include "media/rtp/RtpPackets.h"
#include "tests/support/TestSocket.h"

namespace vms::host::test {

/// An RTSP player on a raw socket. What is sent to it inside the connection is collected.
class RtspTestClient {
public:
    struct Reply {
        int status = 0;  ///< 0 = none came
        std::string sequence;
        std::map<std::string, std::string> headers;
        std::string body;
    };
    using Headers = std::map<std::string, std::string>;

    explicit RtspTestClient(int port, int receiveBuffer = 0) : socket(port, receiveBuffer) {}

    static std::string Text(int sequence, const std::string& method, const std::string& uri,
                            const Headers& headers = {}) {
        std::string text = method + " " + uri + " RTSP/1.0\r\nCSeq: " + std::to_string(sequence);
        for (const auto& [name, value] : headers)
            text += "\r\n" + name + ": " + value;
        return text + "\r\n\r\n";
    }

    /// Sends a request with the session's identifier, if there is one, and waits for the answer.
    Reply Ask(const std::string& method, const std::string& uri, Headers headers = {}) {
        if (!session.empty())
            headers.emplace("Session", session);
        if (!socket.Send(Text(++sequence_, method, uri, headers)))
            return {};
        Reply reply = Next();
        const auto named = reply.headers.find("Session");
        if (named != reply.headers.end())
            session = named->second.substr(0, named->second.find(';'));
        return reply;
    }

    /// The next answer.
    Reply Next() {
        Reply reply;
        std::string head;
        while (TakePacket(head)) {
        }
        std::string rest;
        if (head.empty() || !socket.ReadUntil("\r\n\r\n", rest))
            return reply;
        head += rest;
        reply.status = std::stoi(head.substr(head.find(' ')));
        for (size_t at = head.find("\r\n") + 2; head[at] != '\r'; at = head.find("\r\n", at) + 2) {
            const size_t colon = head.find(": ", at);
            reply.headers[head.substr(at, colon - at)] =
                head.substr(colon + 2, head.find("\r\n", colon) - colon - 2);
        }
        reply.sequence = reply.headers["CSeq"];
        const std::string& length = reply.headers["Content-Length"];
        if (!length.empty() && !socket.Read(std::stoul(length), reply.body))
            reply.status = 0;
        return reply;
    }

    /// Collects the next packet. @return false when none came
    [[nodiscard]] bool NextPacket() {
        std::string first;
        return TakePacket(first);
    }

    vms::test::TestSocket socket;
    std::string session;
    std::string media;  ///< what has come inside the connection so far

private:
    /// @param first set to a byte that begins something else
    bool TakePacket(std::string& first) {
        std::string head;
        if (!socket.Read(1, first))
            return false;
        if (first != "$" || !socket.Read(kRtpFrameSize - 1, head))
            return false;
        std::string packet;
        const auto byte = [&](size_t at) { return static_cast<unsigned char>(head[at]); };
        if (!socket.Read(size_t{byte(1)} << 8 | byte(2), packet))
            return false;
        media += first + head + packet;
        return true;
    }

    int sequence_ = 0;
};

}  // namespace vms::host::test
