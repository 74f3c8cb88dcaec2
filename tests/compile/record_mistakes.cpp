// SPDX-License-Identifier: Apache-2.0
// tests/compile/record_mistakes.cpp - a record as it should be declared, and one mistake at a time.
#include "dbmapping.h"
#include "dbwrapper.h"

enum DOOR_FIELD { DOOR_ID, DOOR_NAME, DOOR_OPEN, DOOR_UNDECLARED };
enum OTHER_FIELD { OTHER_ID, OTHER_NAME };

VX_TAGGED_FIELD(DOOR_ID, int, "id");
VX_TAGGED_FIELD(DOOR_OPEN, bool, "open");
VX_TAGGED_FIELD(OTHER_ID, int, "id");

#if defined(VX_MISTAKE_DUPLICATE_COLUMN)
VX_TAGGED_FIELD(DOOR_NAME, std::string, "Open");
#elif defined(VX_MISTAKE_VALUE_TYPE)
VX_TAGGED_FIELD(DOOR_NAME, unsigned long long, "name");
#elif defined(VX_MISTAKE_COLUMN_NAME)
VX_TAGGED_FIELD(DOOR_NAME, std::string, "name, id");
#else
VX_TAGGED_FIELD(DOOR_NAME, std::string, "name");
#endif

#if defined(VX_MISTAKE_FIELD_LISTED_TWICE)
using DoorInfo = TaggedStruct<DOOR_FIELD, DOOR_ID, DOOR_NAME, DOOR_NAME, DOOR_OPEN>;
#elif defined(VX_MISTAKE_NO_DECLARATION)
using DoorInfo = TaggedStruct<DOOR_FIELD, DOOR_ID, DOOR_NAME, DOOR_OPEN, DOOR_UNDECLARED>;
#elif defined(VX_MISTAKE_ONLY_KEYS)
using DoorInfo = TaggedStruct<DOOR_FIELD, DOOR_ID>;
#else
using DoorInfo = TaggedStruct<DOOR_FIELD, DOOR_ID, DOOR_NAME, DOOR_OPEN>;
#endif

#if defined(VX_MISTAKE_KEY_NOT_A_FIELD)
using Doors = VxDB::DBMapping<DoorInfo, DOOR_FIELD, DOOR_UNDECLARED>;
#elif defined(VX_MISTAKE_NO_KEY)
using Doors = VxDB::DBMapping<DoorInfo, DOOR_FIELD>;
#elif defined(VX_MISTAKE_INSERT_BY_OTHER_KEY)
using Doors = VxDB::DBMapping<DoorInfo, DOOR_FIELD, DOOR_NAME>;
#else
using Doors = VxDB::DBMapping<DoorInfo, DOOR_FIELD, DOOR_ID>;
#endif

#if defined(VX_MISTAKE_WRAPPER_COLUMN_TYPE)
VX_TAGGED_FIELD(OTHER_NAME, bool, "name");
#else
VX_TAGGED_FIELD(OTHER_NAME, std::string, "name");
#endif

#if !defined(VX_MISTAKE_WRAPPER_WITHOUT_TABLE)
template <>
#if defined(VX_MISTAKE_WRAPPER_COLUMN_GAP)
struct DBWrapperTraits<OTHER_FIELD> : DBWrapperColumns<OTHER_NAME> {
#else
struct DBWrapperTraits<OTHER_FIELD> : DBWrapperColumns<OTHER_ID, OTHER_NAME> {
#endif
    static constexpr VxDB::DB_INSTANCE DBI = VxDB::DB_SYSTEM;
    static constexpr const char* TABLE = "other";
    static constexpr bool LOG_ON_ERROR = true;
};
#endif

int UseAll()
{
    DoorInfo door;
    const Doors doors(VxDB::DB_SYSTEM, "door");
    DBWrapper<OTHER_FIELD> other;
#if defined(VX_MISTAKE_NO_SUCH_FIELD)
    door.Get<DOOR_UNDECLARED>() = 1;
#endif
    return doors.Insert(door) + other.Delete();
}
