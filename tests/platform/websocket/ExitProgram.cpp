// A program that ends with clients in every state: exit_program exit|quick_exit PORT, where PORT
// accepts connections and never answers.
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "tests/platform/websocket/EventRecorder.h"

using vms::test::ClientPtr;
using vms::test::EventRecorder;
using vms::test::MakeClient;

namespace {

EventRecorder events;
ClientPtr untilTheEnd = MakeClient(&events);  // made before the I/O threads, so released after

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3)
        return 2;
    const int port = std::atoi(argv[2]);
    static ClientPtr open = MakeClient(&events);
    if (!open->Connect("127.0.0.1", port, "", "", 20'000, false) || !events.WaitForConnect())
        return 3;
    if (!untilTheEnd->Connect("127.0.0.1", port, "", "", 20'000, true))
        return 4;
    static IWebSocketClient* leaked = MakeClient(&events).release();
    leaked->Connect("name.invalid", port, "", "", 20'000, false);
    std::puts("connected");
    std::fflush(stdout);
    if (std::string_view(argv[1]) == "quick_exit")
        std::quick_exit(0);
    return 0;
}
