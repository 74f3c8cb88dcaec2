// SPDX-License-Identifier: Apache-2.0
// tools/input_file.cpp - reading what a verb is given.
#include "input_file.h"

#include <cerrno>
#include <cstring>
#include <iostream>

#include "fail.h"

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
    const bool isRead = static_cast<bool>(std::getline(m_in, line));
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
    }
    if (m_in.bad()) {
        FailToRead();
    }
    return text;
}

void InputFile::FailToRead() const
{
    Fail(EXIT_UNREACHABLE, m_verb, "{}: cannot be read: {}", m_path == "-" ? "standard input" : m_path,
         std::strerror(errno));
}
