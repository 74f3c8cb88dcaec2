// SPDX-License-Identifier: Apache-2.0
#include "reach.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "fail.h"
#include "package/root.h"

void ReachDatabases(std::string_view verb)
{
    const std::string folder = GetPackageDir(PackageDir::DB);
    if (folder.empty() || ::access(folder.c_str(), R_OK | X_OK) != 0) {
        const char* const why = std::strerror(errno);
        Fail(EXIT_UNREACHABLE, verb,
             "{}/db: {}; run this as the user of the recorder, or set VX_ROOT to its folder",
             GetPackageRoot(), why);
    }
}
