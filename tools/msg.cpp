// SPDX-License-Identifier: Apache-2.0
// tools/msg.cpp - vx msg tail: what is announced to the message daemon, shown by listening in its place.
#include <CLI/CLI.hpp>
#include <poll.h>

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "fail.h"
#include "package/msgd.h"
#include "stop_signal.h"

namespace {

void Tail(int count)
{
    MsgDListener listener;
    if (listener.Open() != 0) {
        Fail(errno == EADDRINUSE ? EXIT_REFUSED : EXIT_UNREACHABLE, "msg tail",
             "cannot listen: {}; the message daemon or another vx msg tail may be running",
             std::strerror(errno));
    }
    const StopSignal stop;
    pollfd waits[] = {{listener.Fd(), POLLIN, 0}, {stop.Fd(), POLLIN, 0}};
    for (int shown = 0; !stop.Stopped() && (count == 0 || shown < count);) {
        static_cast<void>(::poll(waits, 2, -1)); // interrupted: the loop asks why
        for (std::string message; (count == 0 || shown < count) && listener.Receive(message) == 0; ++shown) {
            fmt::print("{}\n", message);
            std::fflush(stdout);
        }
    }
}

} // namespace

void AddMsgNoun(CLI::App& vx)
{
    CLI::App* const noun = vx.add_subcommand("msg", "Messages to the package's daemons");
    noun->require_subcommand(1);
    const auto count = std::make_shared<int>(0);
    CLI::App* const tail =
        noun->add_subcommand("tail", "Show announced changes as they come, one JSON object a line");
    tail->add_option("-n", *count, "End after so many messages")->check(CLI::NonNegativeNumber);
    tail->callback([count] { Tail(*count); });
}
