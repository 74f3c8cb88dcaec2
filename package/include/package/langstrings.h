// SPDX-License-Identifier: Apache-2.0
// package/langstrings.h - texts that people read, by section and key, in their language.
//
// A language is a file NAME.txt: under etc/texts of the package root, else under share/vxutil/texts beside the
// library. What a file lacks, and all of it when there is none, is in English as it was built in.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "package/export.h"

class VX_API LangStrings {
public:
    /// Section, key: "vx_common"/"category".
    ///
    /// @return the text; the key itself when there is none. Valid as long as the object.
    const std::string& Get(std::string_view section, std::string_view key) const;
    /// The same, null when there is none.
    const std::string* Find(std::string_view section, std::string_view key) const;

    /// Adds the texts of a file's content; later ones replace earlier ones.
    ///
    /// @return lines that are neither a section, "key = text", a comment nor blank; they are left out.
    int Parse(std::string_view content);

private:
    using Section = std::map<std::string, std::string, std::less<>>;
    std::map<std::string, Section, std::less<>> m_sections;
    mutable Section m_missing; ///< keys that had to stand for their texts
};

/// The texts of a language, "enu" for English.
///
/// @param strings  replaced: never without the English texts
/// @return 0; -1 (logged) when the language's file cannot be read or its name is none.
/// Thread-safety: any thread.
VX_API int GetLangStrings(const std::string& language, LangStrings& strings) noexcept;
