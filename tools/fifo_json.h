// SPDX-License-Identifier: Apache-2.0
// tools/fifo_json.h - FIFOs as --json prints them. Field names are kept; new ones may come.
#pragma once

#include <json/value.h>

#include "fifo_facts.h"

/// One FIFO; what its header does not tell is null.
Json::Value ToJson(const FifoFacts& facts);

/// All of them.
Json::Value ToJson(const std::vector<FifoFacts>& fifos);

/// The slots of a FIFO.
Json::Value SlotsJson(const ShmFifoSnapshot& snapshot);

/// The processes that have its header open, the creator included.
Json::Value HoldersJson(const FifoFacts& facts);
