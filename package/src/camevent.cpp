// SPDX-License-Identifier: Apache-2.0
// package/src/camevent.cpp - alert flags of the applications that run in cameras.
#include "package/camevent.h"

namespace {

constexpr int FIRST_APP_FLAG = 32;
constexpr int APP_COUNT = 20; // a custom detection has 20 bits for them

} // namespace

int GetAppAlertEventType(int appId) noexcept
{
    return appId >= 0 && appId < APP_COUNT ? FIRST_APP_FLAG + appId : -1;
}
