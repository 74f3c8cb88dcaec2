// SPDX-License-Identifier: Apache-2.0
// rotate/rotdays.cpp - the bound time of a limit in days, by the clock on the wall.
#include <ctime>
#include <limits>

#include "package/monoclock.h"
#include "rotdb_internal.h"
#include "vxrotate.h"

using rotdb::ClampToInt;

namespace {

constexpr long long SECONDS_OF_DAY = 86400;

} // namespace

long GetBoundTimeOfDays(int days) noexcept
{
    const long long bound = static_cast<long long>(GetWallTimeSec()) - days * SECONDS_OF_DAY;
    if (bound <= 0 || bound > std::numeric_limits<std::time_t>::max()) {
        return 0; // a limit that reaches back before all times removes nothing
    }
    const auto time = static_cast<std::time_t>(bound);
    tm local{};
    if (::localtime_r(&time, &local) == nullptr) {
        return ClampToInt(bound);
    }
    local.tm_isdst = -1;
    return ClampToInt(static_cast<long long>(std::mktime(&local)));
}
