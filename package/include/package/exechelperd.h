// SPDX-License-Identifier: Apache-2.0
// package/exechelperd.h - packing files into archives, and reading them again.
#pragma once

#include <cstdint>
#include <ctime>
#include <functional>
#include <list>
#include <string>
#include <string_view>

#include "package/export.h"

/// One file of an archive.
struct ArchiveEntry {
    std::string name;
    std::int64_t sizeBytes = 0;
    std::time_t modified = 0;
};

namespace ExecHelperdApi {

/// Packs files into a gzip-compressed tar archive, each under its base name.
///
/// The archive is there whole or not at all: it is written beside its place under a name that starts with ".",
/// brought to the medium, and gets its own name last. A file of that name is never replaced.
///
/// @return 0; -1 (logged, errno kept): nothing was made. The files are never touched.
/// Thread-safety: any thread.
[[nodiscard]] VX_API int Tar(const std::string& tgzPath, const std::list<std::string>& files) noexcept;

/// Reads an archive from its start.
///
/// @param wanted  asked for each entry; false skips its content
/// @param content gets the entry's bytes piece by piece; returns false to end the reading
/// @return 0; -1 (logged) when it cannot be read; what was handed over until then stands.
[[nodiscard]] VX_API int ReadTar(const std::string& tgzPath,
                                 const std::function<bool(const ArchiveEntry& entry)>& wanted,
                                 const std::function<bool(std::string_view bytes)>& content) noexcept;

} // namespace ExecHelperdApi
