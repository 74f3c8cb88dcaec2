// SPDX-License-Identifier: Apache-2.0
// tests/utils/sample_record.h - a mapped record with a field of each kind.
#pragma once

#include <bitset>
#include <string>

#include "dbmapping.h"

enum SAMPLE_FIELD {
    SAMPLE_ID,
    SAMPLE_SMALL,
    SAMPLE_WORD,
    SAMPLE_BIG,
    SAMPLE_FLAG,
    SAMPLE_NAME,
    SAMPLE_LEVEL,
    SAMPLE_BITS
};
enum class LEVEL : short { LOW = -1, HIGH = 300 };

VX_TAGGED_FIELD(SAMPLE_ID, int, "id");
VX_TAGGED_FIELD(SAMPLE_SMALL, signed char, "small");
VX_TAGGED_FIELD(SAMPLE_WORD, unsigned int, "word");
VX_TAGGED_FIELD(SAMPLE_BIG, long long, "big");
VX_TAGGED_FIELD(SAMPLE_FLAG, bool, "flag");
VX_TAGGED_FIELD(SAMPLE_NAME, std::string, "name");
VX_TAGGED_FIELD(SAMPLE_LEVEL, LEVEL, "level");
VX_TAGGED_FIELD(SAMPLE_BITS, std::bitset<3>, "bits");

using Sample = TaggedStruct<SAMPLE_FIELD, SAMPLE_ID, SAMPLE_SMALL, SAMPLE_WORD, SAMPLE_BIG, SAMPLE_FLAG,
                            SAMPLE_NAME, SAMPLE_LEVEL, SAMPLE_BITS>;
using SampleMapping = VxDB::DBMapping<Sample, SAMPLE_FIELD, SAMPLE_ID>;
