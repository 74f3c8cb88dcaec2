// SPDX-License-Identifier: Apache-2.0
// package/src/archivereader.h - reading archives again, and the zip file that a spreadsheet is.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "package/exechelperd.h"

enum class ArchiveKind { TAR_GZIP, ZIP };

/// Reads an archive from its start; its parts are compared with their checksums, where it has some.
///
/// @param wanted   asked for each entry, before its bytes; false skips them
/// @param content  gets the entry's bytes piece by piece; returns false to end the reading
/// @return 0; -1 (logged) when it cannot be read; what was handed over until then stands.
[[nodiscard]] int ReadArchive(ArchiveKind kind, const std::string& path,
                              const std::function<bool(const ArchiveEntry& entry)>& wanted,
                              const std::function<bool(std::string_view bytes)>& content) noexcept;
