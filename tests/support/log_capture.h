// SPDX-License-Identifier: Apache-2.0
// tests/support/log_capture.h - the log lines of this process, as a test can ask for them.
// Linking log_capture.cpp puts it in place of the log writer: nothing reaches a file.
#pragma once

#include <string>
#include <vector>

/// One message that passed the logging step.
struct CapturedLine {
    std::string categ;
    std::string level;
    std::string place; ///< file and function: "utils/shmfifo WriteData"
    std::string text;  ///< with its line feed
};

/// Collects what is logged while it lives. One at a time; any thread may log meanwhile.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// What was logged since the last call (or the start), oldest first.
    std::vector<CapturedLine> Take();
    /// The same as "place: text" of the lines whose place starts with `prefix`, one behind the other.
    std::string TakeText(const std::string& prefix = "");
    /// Takes the same, and expects that each of the texts is somewhere in it.
    void Expect(const std::vector<std::string>& texts, const std::string& prefix = "");
};
