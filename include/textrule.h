// SPDX-License-Identifier: Apache-2.0
// textrule.h - how a rule looks for text in a transaction.
#pragma once

/// What a text rule does with a line that it matches.
enum TEXT_RULE_TYPE : int {
    TEXT_RULE_HIGHLIGHT = 0,
    TEXT_RULE_REPLACE = 1,
    TEXT_RULE_HIDE = 2,
};

/// How a text rule compares.
enum MATCH_TYPE : int {
    MATCH_TYPE_CONTAINS = 0,
    MATCH_TYPE_EXACT = 1,
    MATCH_TYPE_REGEX = 2,
};
