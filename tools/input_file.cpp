// SPDX-License-Identifier: Apache-2.0
// tools/input_file.cpp - reading what a verb is given.
#include "input_file.h"

#include <cerrno>
#include <cstring>
#include <iostream>

#include "fail.h"

namespace {

constexpr std::size_t MAX_LINE_MIB = 1;
constexpr std::size_t MAX_FILE_MIB = 256;

} // namespace

InputFile::InputFile(std::string_view verb, const std::string& path)
    : m_verb(verb), m_path(path), m_in(path == "-" ? std::cin : m_file)
{
    if (path != "-") {
        m_file.open(path, std::ios::binary);
    }
    if (!m_in) {
        FailToRead();
    }
}

bool InputFile::NextLine(std::string& line)
{
    line.clear();
    bool isRead = false;
    for (char c = 0; c != '\n' && m_in.get(c);) {
        isRead = true;
        line.append(c == '\n' ? 0 : 1, c);
        FailIfEndless(line.size(), MAX_LINE_MIB);
    }
    if (m_in.bad()) {
        FailToRead();
    }
    if (isRead && line.ends_with('\r')) {
        line.pop_back();
    }
    return isRead;
}

std::string InputFile::ReadAll()
{
    std::string text;
    char block[65536];
    while (m_in.read(block, sizeof block), m_in.gcount() > 0) {
        text.append(block, static_cast<std::size_t>(m_in.gcount()));
        FailIfEndless(text.size(), MAX_FILE_MIB);
    }
    if (m_in.bad()) {
        FailToRead();
    }
    return text;
}

std::string InputFile::Name() const
{
    return m_path == "-" ? "standard input" : m_path.empty() ? "''" : m_path;
}

void InputFile::FailToRead() const
{
    Fail(EXIT_UNREACHABLE, m_verb, "{}: cannot be read: {}", Name(), std::strerror(errno));
}

void InputFile::FailIfEndless(std::size_t bytes, std::size_t maxMiB) const
{
    if (bytes >> 20 >= maxMiB) {
        Fail(EXIT_USAGE, m_verb, "{}: does not end within {} MiB; is another file meant?", Name(), maxMiB);
    }
}
