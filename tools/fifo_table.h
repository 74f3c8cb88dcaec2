// SPDX-License-Identifier: Apache-2.0
// tools/fifo_table.h - FIFOs as aligned columns, for ls and top.
#pragma once

#include <string>
#include <vector>

#include "fifo_facts.h"
#include "table.h"

/// One line a FIFO.
Table FifoTable(const std::vector<FifoFacts>& fifos);

/// 1536 is "1.5 KiB".
std::string SizeText(std::uint64_t bytes);

/// "1280x720", or "-" if the writer set none.
std::string PictureText(const FifoFacts& facts);

/// "4711", "4711 (dead)".
std::string CreatorText(const FifoFacts& facts);
