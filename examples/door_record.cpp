// SPDX-License-Identifier: Apache-2.0
// examples/door_record.cpp - a record declared, stored, listed and turned into JSON.
#include <cstdio>
#include <list>

#include "dbmapping.h"
#include "package/json.h"

// A tag, a type and a column for each field; the list of tags is the record.
enum DOOR_FIELD { DOOR_ID, DOOR_NAME, DOOR_FLOOR, DOOR_LOCKED };
VX_TAGGED_FIELD(DOOR_ID, int, "id");
VX_TAGGED_FIELD(DOOR_NAME, std::string, "name");
VX_TAGGED_FIELD(DOOR_FLOOR, int, "floor");
VX_TAGGED_FIELD(DOOR_LOCKED, bool, "locked");
using Door = TaggedStruct<DOOR_FIELD, DOOR_ID, DOOR_NAME, DOOR_FLOOR, DOOR_LOCKED>;

int main()
{
    if (VxDB::Execute(VxDB::DB_SYSTEM, "CREATE TABLE IF NOT EXISTS door (id INTEGER PRIMARY KEY, "
                                       "name TEXT, floor INTEGER, locked INTEGER)") != 0) {
        return 1; // the log says why
    }
    const VxDB::DBMapping<Door, DOOR_FIELD, DOOR_ID> doors(VxDB::DB_SYSTEM, "door");

    Door door;
    door.Get<DOOR_NAME>() = "Gate 'A'";
    door.Get<DOOR_FLOOR>() = -1;
    if (doors.Insert(door) != 0) { // stores the new id in the record
        return 1;
    }
    door.Get<DOOR_LOCKED>() = true;
    if (doors.Update(door) != 0 || doors.Load(door) != 0) {
        return 1;
    }

    std::list<Door> cellar;
    if (doors.Enum(cellar, "WHERE floor < 0", "ORDER BY id", "LIMIT 10") != 0) {
        return 1;
    }
    for (const Door& found : cellar) {
        std::printf("%s\n", JsonWrite(doors.ToJson(found)).c_str());
    }
    return 0;
}
