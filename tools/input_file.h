// SPDX-License-Identifier: Apache-2.0
// tools/input_file.h - a file, or standard input, that a verb reads.
#pragma once

#include <fstream>
#include <string>
#include <string_view>

/// Opens a file to read, "-" for standard input. Ends the verb, as unreachable, where it cannot be read, also
/// when that shows later (a folder, a disk that fails); as called wrongly where it never ends (a device).
class InputFile {
public:
    InputFile(std::string_view verb, const std::string& path);

    /// The next line, without its end, be it LF or CR LF. @return false behind the last one
    bool NextLine(std::string& line);
    /// All that is left.
    std::string ReadAll();

private:
    std::string Name() const;
    [[noreturn]] void FailToRead() const;
    void FailIfEndless(std::size_t bytes, std::size_t maxMiB) const;

    std::string_view m_verb;
    std::string m_path;
    std::ifstream m_file;
    std::istream& m_in;
};
