// SPDX-License-Identifier: Apache-2.0
// bench/rivals/iceoryx_daemon.cpp - the daemon in a forked process, with one pool for each frame size.
#include "rivals/iceoryx_daemon.h"

#include <csignal>
#include <cstdio>

#include "iceoryx_hoofs/log/logmanager.hpp"
#include "iceoryx_posh/iceoryx_posh_config.hpp"
#include "iceoryx_posh/internal/roudi/roudi.hpp"
#include "iceoryx_posh/roudi/iceoryx_roudi_components.hpp"
#include "support/processes.h"

namespace {

iox::RouDiConfig_t Config()
{
    iox::mepoo::MePooConfig pools;
    pools.addMemPool({4u << 10, 16});
    pools.addMemPool({64u << 10, 16});
    pools.addMemPool({512u << 10, 16});
    pools.addMemPool({3u << 20, 8});
    iox::RouDiConfig_t config;
    const auto group = iox::posix::PosixGroup::getGroupOfCurrentProcess().getName();
    config.m_sharedMemorySegments.push_back({group, group, pools});
    return config;
}

int RunDaemon(RunPage& page)
{
    sigset_t end;
    sigemptyset(&end);
    sigaddset(&end, SIGTERM);
    ::sigprocmask(SIG_BLOCK, &end, nullptr);
    if (std::freopen("/dev/null", "w", stdout) == nullptr ||
        std::freopen("/dev/null", "w", stderr) == nullptr) {
        return 1; // what it prints at start must not mix with the results
    }
    iox::log::LogManager::GetLogManager().SetDefaultLogLevel(iox::log::LogLevel::kOff,
                                                             iox::log::LogLevelOutput::kHideLogLevel);
    {
        iox::roudi::IceOryxRouDiComponents components(Config());
        iox::roudi::RouDi daemon(components.rouDiMemoryManager, components.portManager,
                                 {iox::roudi::MonitoringMode::OFF, false});
        page.writerReady = 1;
        int signal = 0;
        ::sigwait(&end, &signal);
    }
    return 0;
}

/// Keeps the daemon until the benchmark ends, then asks it to leave so that it removes its files.
class Daemon {
public:
    Daemon() : m_process([this] { return RunDaemon(*m_page); }, 0)
    {
        const std::int64_t limit = NowNs() + 5'000'000'000;
        while (m_page->writerReady == 0 && NowNs() < limit) {
            SpinTurn();
        }
        m_runs = m_page->writerReady != 0;
    }
    ~Daemon()
    {
        m_process.Signal(SIGTERM);
        static_cast<void>(m_process.Wait()); // nothing can be done about a daemon that ended badly
    }
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;
    bool Runs() const noexcept { return m_runs; }

private:
    RunPageOwner m_page;
    Forked m_process;
    bool m_runs;
};

} // namespace

bool IceoryxDaemonRuns()
{
    static const Daemon daemon;
    return daemon.Runs();
}
