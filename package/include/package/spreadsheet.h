// SPDX-License-Identifier: Apache-2.0
// package/spreadsheet.h - writing a spreadsheet (.xlsx) row by row, however many rows there are.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "package/export.h"

/// One spreadsheet in the making: text cells only. Rows go to the disk as they are added; a sheet that is full
/// is followed by another one, which starts with the heading as well.
/// Thread-safety: one thread.
class VX_API SpreadsheetWriter {
public:
    /// Characters of a cell at most; a longer text is cut and ends in "...".
    static constexpr std::size_t CELL_MAX = 32767;
    /// Rows of a sheet at most, with the heading.
    static constexpr unsigned int SHEET_ROWS = 1048576;

    SpreadsheetWriter() noexcept;
    /// A spreadsheet that was not closed is dropped; its file may be there and is of no use.
    ~SpreadsheetWriter();
    SpreadsheetWriter(const SpreadsheetWriter&) = delete;
    SpreadsheetWriter& operator=(const SpreadsheetWriter&) = delete;

    /// What its name and this are is the folder of what it writes meanwhile; a killed process leaves it.
    static constexpr const char* PARTS = ".parts";

    /// Starts a spreadsheet.
    ///
    /// @param heading    cells of the first row, UTF-8
    /// @return 0; -1 (logged).
    [[nodiscard]] int Open(const std::string& path, std::span<const std::string> heading,
                           unsigned int sheetRows = SHEET_ROWS) noexcept;
    /// @param cells  UTF-8 without characters that XML does not have
    /// @return 0; -1 (logged).
    [[nodiscard]] int AddRow(std::span<const std::string> cells) noexcept;
    /// Puts the file together. @return 0; -1 (logged).
    [[nodiscard]] int Close() noexcept;

private:
    struct State;
    std::unique_ptr<State> m_pState;
};
