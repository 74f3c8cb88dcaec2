// SPDX-License-Identifier: Apache-2.0
// package/src/langstrings.cpp - files of texts, and English built in.
#include "package/langstrings.h"

#include <dlfcn.h>
#include <unistd.h>

#include <exception>
#include <fstream>
#include <iterator>

#include "package/root.h"
#include "pkglog.h"

namespace {

constexpr const char ENGLISH[] = {
#include "texts_enu.inc"
};

constexpr std::size_t FILE_MAX = std::size_t{1} << 20; ///< bytes of a file that are read

std::string_view Trim(std::string_view text) noexcept
{
    constexpr std::string_view BLANKS = " \t\r";
    const std::size_t start = text.find_first_not_of(BLANKS);
    return start == text.npos ? std::string_view()
                              : text.substr(start, text.find_last_not_of(BLANKS) - start + 1);
}

/// The folder of the texts that were installed with the library that this code is in.
std::string InstalledDir()
{
    Dl_info info{};
    if (::dladdr(&ENGLISH, &info) == 0 || info.dli_fname == nullptr) {
        return {};
    }
    std::string dir = info.dli_fname; // PREFIX/lib/TRIPLET/libvxpackage.so, PREFIX/lib/..., PREFIX/bin/vx
    for (int i = 0; i < 3; ++i) {
        const std::size_t slash = dir.rfind('/');
        if (slash == dir.npos) {
            break;
        }
        dir.resize(slash);
        if (std::string texts = dir + "/share/vxutil/texts"; ::access(texts.c_str(), R_OK) == 0) {
            return texts;
        }
    }
    return {};
}

bool IsName(const std::string& language) noexcept
{
    return !language.empty() && language.size() <= 16 &&
           language.find_first_not_of("abcdefghijklmnopqrstuvwxyz_-") == std::string::npos;
}

bool ReadFile(const std::string& path, std::string& content)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return false;
    }
    content.resize(FILE_MAX);
    file.read(content.data(), static_cast<std::streamsize>(content.size()));
    content.resize(static_cast<std::size_t>(file.gcount()));
    return !file.bad();
}

} // namespace

const std::string* LangStrings::Find(std::string_view section, std::string_view key) const
{
    const auto found = m_sections.find(section);
    if (found == m_sections.end()) {
        return nullptr;
    }
    const auto text = found->second.find(key);
    return text != found->second.end() ? &text->second : nullptr;
}

const std::string& LangStrings::Get(std::string_view section, std::string_view key) const
{
    const std::string* const pText = Find(section, key);
    return pText != nullptr ? *pText : m_missing.emplace(key, key).first->second;
}

int LangStrings::Parse(std::string_view content)
{
    int broken = 0;
    Section* pSection = nullptr;
    if (content.starts_with("\xEF\xBB\xBF")) {
        content.remove_prefix(3); // what some editors put in front
    }
    while (!content.empty()) {
        const std::size_t end = content.find('\n');
        const std::string_view line = Trim(content.substr(0, end));
        content.remove_prefix(end == content.npos ? content.size() : end + 1);
        const std::size_t equals = line.find('=');
        if (line.empty() || line.front() == '#') {
            continue;
        }
        if (line.front() == '[' && line.back() == ']') {
            pSection = &m_sections[std::string(line.substr(1, line.size() - 2))];
        } else if (pSection != nullptr && equals != line.npos && equals > 0) {
            (*pSection)[std::string(Trim(line.substr(0, equals)))] = Trim(line.substr(equals + 1));
        } else {
            ++broken;
        }
    }
    return broken;
}

int GetLangStrings(const std::string& language, LangStrings& strings) noexcept
try {
    strings = LangStrings();
    static_cast<void>(strings.Parse({ENGLISH, sizeof ENGLISH})); // built in, so without broken lines
    if (!IsName(language)) {
        PKG_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR, "Broken name of a language [%s].\n", language.c_str());
        return -1;
    }
    std::string content;
    const std::string name = "/" + language + ".txt";
    if (!ReadFile(GetPackageRoot() + "/etc/texts" + name, content) &&
        !ReadFile(InstalledDir() + name, content)) {
        if (language == "enu") {
            return 0;
        }
        PKG_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR, "No texts of language [%s], English is used.\n",
                language.c_str());
        return -1;
    }
    if (const int broken = strings.Parse(content); broken > 0) {
        PKG_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_WARN, "%d broken lines in the texts of language [%s].\n",
                broken, language.c_str());
    }
    return 0;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_LOG_SEND, LOG_LEVEL_ERR, "Failed to load texts [%s].\n", error.what());
    return -1;
}
