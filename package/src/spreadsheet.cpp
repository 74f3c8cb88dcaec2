// SPDX-License-Identifier: Apache-2.0
// package/src/spreadsheet.cpp - spreadsheets by libxlsxwriter in its mode of constant memory; the only file that
// calls it.
#include "package/spreadsheet.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <xlsxwriter.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <utility>
#include <vector>

#include "archivereader.h"
#include "pkglog.h"
#include "unique_fd.h"

struct SpreadsheetWriter::State {
    ~State()
    {
        if (pBook != nullptr) {
            workbook_close(pBook); // frees it; the file is of no use then, and who dropped it knows
        }
        std::error_code ignored; // what stays is empty, and goes with what bears the spreadsheet's name
        std::filesystem::remove_all(folder, ignored);
    }

    std::string path;
    std::string folder;
    lxw_workbook* pBook = nullptr;
    lxw_worksheet* pSheet = nullptr;
    lxw_format* pBold = nullptr;
    std::vector<std::string> heading;
    unsigned int sheetRows = SHEET_ROWS;
    lxw_row_t nextRow = 0;
    std::vector<std::int64_t> storedBytes; ///< of each sheet that is complete: what its rows take
};

namespace {

int Fail(const std::string& path, const char* problem) noexcept
{
    PKG_LOG(LOG_CATEG_TEMP_FILE, LOG_LEVEL_ERR, "Failed to write spreadsheet [%s] [%s].\n", path.c_str(),
            problem);
    return -1;
}

/// The text, cut to what a cell takes. A character beyond U+FFFF counts as two.
std::string CutToCell(const std::string& text)
{
    constexpr std::string_view MARK = "...";
    constexpr std::size_t ROOM = SpreadsheetWriter::CELL_MAX - MARK.size();
    std::size_t units = 0;
    std::size_t cut = text.size();
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0) == 0x80) {
            continue; // inside of a character
        }
        const std::size_t width = byte >= 0xF0 ? 2 : 1;
        if (units + width > ROOM && cut == text.size()) {
            cut = i;
        }
        units += width;
    }
    return units <= SpreadsheetWriter::CELL_MAX ? text : text.substr(0, cut).append(MARK);
}

/// Whether a sheet's rows are where the library keeps them meanwhile: it does not look when it writes them, and makes
/// a spreadsheet of what is there.
bool IsStored(const lxw_worksheet* pSheet, bool isWhole) noexcept
{
    return pSheet == nullptr || (std::ferror(pSheet->optimize_tmpfile) == 0 &&
                                 (!isWhole || std::fflush(pSheet->optimize_tmpfile) == 0));
}

/// What the rows of a complete sheet take where the library keeps them; 0 when that is no file.
std::int64_t StoredBytes(const lxw_worksheet* pSheet) noexcept
{
    struct stat info {};
    return pSheet != nullptr && ::fstat(::fileno(pSheet->optimize_tmpfile), &info) == 0 ? info.st_size : 0;
}

/// Whether the file that the library has closed holds all rows and every part to its end. It copies each part once
/// more before it packs it, and does not look at that copy either.
bool IsWhole(const std::string& path, const std::vector<std::int64_t>& storedBytes)
{
    struct Part {
        std::string name;
        std::int64_t bytes = 0;
        char last = 0;
    };
    std::vector<Part> parts;
    const auto isNoted = [&parts](const ArchiveEntry& entry) {
        parts.push_back({entry.name});
        return true;
    };
    const auto isCounted = [&parts](std::string_view bytes) {
        parts.back().bytes += static_cast<std::int64_t>(bytes.size());
        parts.back().last = bytes.back();
        return true;
    };
    if (ReadArchive(ArchiveKind::ZIP, path, isNoted, isCounted) != 0) {
        return false;
    }
    std::size_t sheets = 0;
    for (const Part& part : parts) {
        const bool isSheet = part.name == "xl/worksheets/sheet" + std::to_string(sheets + 1) + ".xml";
        if ((part.last != '>' && part.last != '\n') ||
            (isSheet && sheets < storedBytes.size() && part.bytes < storedBytes[sheets])) {
            return false;
        }
        sheets += isSheet ? 1 : 0;
    }
    return sheets >= storedBytes.size();
}

constexpr const char* NOT_STORED = "its rows cannot be stored beside it";

} // namespace

SpreadsheetWriter::SpreadsheetWriter() noexcept = default;
SpreadsheetWriter::~SpreadsheetWriter() = default;

int SpreadsheetWriter::Open(const std::string& path, std::span<const std::string> heading,
                            unsigned int sheetRows) noexcept
try {
    m_pState.reset();
    const UniqueFd file(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0640));
    if (!file) { // asked here, since the library would print it to standard error
        PKG_LOG(LOG_CATEG_TEMP_FILE, LOG_LEVEL_ERR, "Failed to write spreadsheet [%s] [%m].\n", path.c_str());
        return -1;
    }
    m_pState = std::make_unique<State>();
    m_pState->path = path;
    m_pState->folder = path + PARTS;
    std::filesystem::create_directory(m_pState->folder);
    m_pState->heading.assign(heading.begin(), heading.end());
    m_pState->sheetRows = sheetRows;
    lxw_workbook_options options{};
    options.constant_memory = LXW_TRUE;
    options.tmpdir = m_pState->folder.data();
    m_pState->pBook = workbook_new_opt(path.c_str(), &options);
    if (m_pState->pBook == nullptr) {
        return Fail(path, "no memory");
    }
    m_pState->pBold = workbook_add_format(m_pState->pBook);
    format_set_bold(m_pState->pBold);
    return 0;
} catch (const std::exception& error) {
    return Fail(path, error.what());
}

int SpreadsheetWriter::AddRow(std::span<const std::string> cells) noexcept
try {
    if (m_pState == nullptr) {
        return Fail("", "not open");
    }
    State& state = *m_pState;
    const bool isNewSheet = state.pSheet == nullptr || state.nextRow >= state.sheetRows;
    if (!IsStored(state.pSheet, isNewSheet)) {
        return Fail(state.path, NOT_STORED);
    }
    if (isNewSheet) {
        if (state.pSheet != nullptr) {
            state.storedBytes.push_back(StoredBytes(state.pSheet));
        }
        state.pSheet = workbook_add_worksheet(state.pBook, nullptr);
        if (state.pSheet == nullptr) {
            return Fail(state.path, "no further sheet");
        }
        worksheet_set_column(state.pSheet, 0, static_cast<lxw_col_t>(state.heading.size()), 24, nullptr);
        worksheet_freeze_panes(state.pSheet, 1, 0);
        for (std::size_t i = 0; i < state.heading.size(); ++i) {
            worksheet_write_string(state.pSheet, 0, static_cast<lxw_col_t>(i), state.heading[i].c_str(),
                                   state.pBold);
        }
        state.nextRow = 1;
    }
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const lxw_error code = worksheet_write_string(state.pSheet, state.nextRow, static_cast<lxw_col_t>(i),
                                                      CutToCell(cells[i]).c_str(), nullptr);
        if (code != LXW_NO_ERROR) {
            return Fail(state.path, lxw_strerror(code));
        }
    }
    ++state.nextRow;
    return 0;
} catch (const std::exception& error) {
    return Fail(m_pState->path, error.what());
}

int SpreadsheetWriter::Close() noexcept
try {
    const std::unique_ptr<State> state = std::move(m_pState);
    if (state == nullptr) {
        return Fail("", "not open");
    }
    if (!IsStored(state->pSheet, true)) {
        return Fail(state->path, NOT_STORED);
    }
    state->storedBytes.push_back(StoredBytes(state->pSheet));
    const lxw_error code = workbook_close(std::exchange(state->pBook, nullptr));
    if (code != LXW_NO_ERROR) {
        return Fail(state->path, lxw_strerror(code));
    }
    return IsWhole(state->path, state->storedBytes) ? 0 : Fail(state->path, NOT_STORED);
} catch (const std::exception& error) {
    return Fail("", error.what());
}
