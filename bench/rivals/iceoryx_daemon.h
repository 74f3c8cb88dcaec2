// SPDX-License-Identifier: Apache-2.0
// bench/rivals/iceoryx_daemon.h - the daemon that iceoryx needs, as a child of the benchmark.
#pragma once

/// Starts the daemon on the first call and remembers the outcome. It ends with the benchmark.
///
/// @return whether it runs; false when another one holds this machine.
bool IceoryxDaemonRuns();
