// SPDX-License-Identifier: Apache-2.0
// package/logtag.h - the place that a log line names: the source path without extension, made while
// compiling.
#pragma once

#include <cstddef>
#include <string_view>

/// The tag of a source file: "utils/shmfifo" for utils/shmfifo.cpp, "include/dbmapping" for dbmapping.h.
///
///   path as the compiler has it                  tag
///   a header below a folder named include        include/NAME, wherever it is installed
///   relative (the build strips the project root) the path itself
///   absolute, or starting with ../               the last folder and the name (and the one above src and
///   below dva)
///
/// A structural type, so that one path has one copy in a program.
template <std::size_t N>
struct VxFileTag {
    char text[N + 8] = {}; // longest: "include/" before a bare name

    // NOLINTNEXTLINE(google-explicit-constructor): deduced from __FILE__
    consteval VxFileTag(const char (&path)[N])
    {
        std::string_view rest{path, N - 1};
        while (rest.starts_with("./")) {
            rest.remove_prefix(2);
        }
        const std::string_view name = rest.substr(rest.rfind('/') + 1); // npos + 1 is 0
        if (IsHeader(name) && IsBelowInclude(rest)) {
            Append("include/");
            Append(Stem(name));
        } else if (rest.starts_with('/') || rest.starts_with("../")) {
            Append(Stem(LastFolders(rest)));
        } else {
            Append(Stem(rest));
        }
    }

private:
    constexpr void Append(std::string_view piece)
    {
        std::size_t used = 0;
        while (text[used] != '\0') {
            ++used;
        }
        for (const char c : piece) {
            text[used++] = c;
        }
    }

    static constexpr std::string_view Stem(std::string_view path)
    {
        const std::size_t dot = path.rfind('.');
        const std::size_t slash = path.rfind('/');
        const bool inName = dot != path.npos && (slash == path.npos || dot > slash);
        return inName ? path.substr(0, dot) : path;
    }

    static constexpr bool IsHeader(std::string_view name)
    {
        const std::size_t dot = name.rfind('.');
        return dot == name.npos || name.substr(dot).starts_with(".h");
    }

    static constexpr bool IsBelowInclude(std::string_view path)
    {
        return path.starts_with("include/") || path.find("/include/") != path.npos;
    }

    static constexpr std::string_view LastFolders(std::string_view path)
    {
        std::string_view above = Folder(path);
        const std::string_view folder = Name(above);
        above = Folder(above);
        if (folder == "src" || Name(above) == "dva") {
            above = Folder(above);
        }
        const std::size_t cut = above.empty() ? 0 : above.size() + 1;
        return path.starts_with('/') && cut == 0 ? path.substr(1) : path.substr(cut);
    }

    static constexpr std::string_view Folder(std::string_view path)
    {
        const std::size_t slash = path.rfind('/');
        return slash == path.npos ? std::string_view() : path.substr(0, slash);
    }

    static constexpr std::string_view Name(std::string_view path) { return path.substr(path.rfind('/') + 1); }
};

/// The tag of the file in which this macro is written; a NUL-terminated text that lives as long as the
/// program.
#define VX_LOG_FILE (VxFileTagText<VxFileTag(__FILE__)>())

template <VxFileTag TAG>
constexpr const char* VxFileTagText() noexcept
{
    return TAG.text;
}
