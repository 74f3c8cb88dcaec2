// SPDX-License-Identifier: Apache-2.0
// tests/support/temp_root.h - a package root of the test's own, gone afterwards.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

/// Makes an empty folder and names it in VX_ROOT; removes it with all that is in it.
/// Children that are forked meanwhile use the same root; only the maker removes it.
class TempRoot {
public:
    TempRoot()
    {
        std::string path = (std::filesystem::temp_directory_path() / "vx-test-XXXXXX").string();
        if (::mkdtemp(path.data()) == nullptr) {
            std::abort(); // nothing can be tested without a folder
        }
        m_path = path;
        ::setenv("VX_ROOT", path.c_str(), 1);
    }
    ~TempRoot()
    {
        std::error_code ignored; // a folder that stays is litter, not a wrong result
        std::filesystem::remove_all(m_path, ignored);
        ::unsetenv("VX_ROOT");
    }
    TempRoot(const TempRoot&) = delete;
    TempRoot& operator=(const TempRoot&) = delete;

    const std::filesystem::path& Path() const noexcept { return m_path; }

private:
    std::filesystem::path m_path;
};
