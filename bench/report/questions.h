// SPDX-License-Identifier: Apache-2.0
// bench/report/questions.h - the questions that the report answers, and what was promised.
#pragma once

#include <string>
#include <vector>

enum class TargetKind {
    RATIO,      ///< ours / against at most `limit`
    DIFFERENCE, ///< ours - against at most `limit` nanoseconds
    ABSOLUTE,   ///< ours at most `limit` nanoseconds
    COUNTER,    ///< counter `against` of ours at most `limit`
};

struct Target {
    std::string ours; ///< contender that is judged
    long long argument;
    TargetKind kind;
    std::string against; ///< contender or counter
    double limit;
    long long againstArgument = -1; ///< -1: the same argument
};

struct Question {
    std::string name;  ///< as in BM_<name>_<contender>
    std::string title; ///< the question itself
    std::string note;  ///< what is timed and what is not
    std::string argumentName;
    std::vector<std::string> contenders; ///< columns; the first is what all others are divided by
    std::vector<std::string> counters;   ///< shown in a table of their own
    std::vector<Target> targets;
};

const std::vector<Question>& Questions();
