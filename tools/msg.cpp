// SPDX-License-Identifier: Apache-2.0
// tools/msg.cpp - vx msg tail: what is announced to the message daemon, shown by listening in its place.
#include <CLI/CLI.hpp>
#include <poll.h>

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "fail.h"
#include "numbers.h"
#include "package/msgd.h"
#include "package/root.h"
#include "stop_signal.h"

namespace {

const char* Advice(int error)
{
    switch (error) {
    case EADDRINUSE:
        return "the message daemon or another vx msg tail listens there; stop it first";
    case EACCES:
    case EPERM:
        return "this user may not make a socket there; run as the recorder's user";
    case ENOENT:
    case ENOTDIR:
        return "the folder is not there and cannot be made; set VX_ROOT to the recorder's folder";
    case ENAMETOOLONG:
        return "a socket's path has at most 107 letters; set VX_ROOT to a shorter one";
    case ENOSPC:
    case EDQUOT:
        return "make room on that disk";
    case EROFS:
        return "set VX_ROOT to a folder that can be written";
    default:
        return "close what is not needed on this machine and try again"; // descriptors, memory
    }
}

void Tail(int count)
{
    MsgDListener listener;
    if (listener.Open() != 0) {
        const int error = errno;
        Fail(error == EADDRINUSE ? EXIT_REFUSED : EXIT_UNREACHABLE, "msg tail",
             "cannot listen at {}/run/msgd.sock: {}; {}", GetPackageRoot(), std::strerror(error),
             Advice(error));
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
    tail->add_option("-n", *count, "End after so many messages")->check(FROM_ZERO);
    tail->callback([count] { Tail(*count); });
}
