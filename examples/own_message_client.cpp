// SPDX-License-Identifier: Apache-2.0
// examples/own_message_client.cpp - one piece of the package layer replaced: who is told that rules have changed.
#include <cstdio>

#include "actruleutils.h"
#include "package/msgd.h"

// The linker takes the program's own function, also for the calls that libvxutil makes.
int SendUpdateMsgToMsgD(int kind, const std::list<int>& ids, UPDATE_TYPE type, int /*flag*/,
                        const std::string& /*text*/, const std::list<int>& /*list*/) noexcept
{
    std::printf("kind %d, type %d, ids", kind, type);
    for (const int id : ids) {
        std::printf(" %d", id);
    }
    std::printf("\n");
    return 0;
}

int main()
{
    NotifyActRuleUpdate(std::list<int>{3, 5}, UPDATE_TYPE_MODIFY);
    return 0;
}
