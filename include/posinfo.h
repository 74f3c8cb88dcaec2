// SPDX-License-Identifier: Apache-2.0
// posinfo.h - the record of a point-of-sale device.
#pragma once

#include <string>

#include "dbmapping.h"
#include "package/dbtables.h"
#include "taggedstruct.h"

/// Whether a device's transactions arrive.
enum POS_STATUS : int {
    POS_STATUS_DISABLED = 0,
    POS_STATUS_NORMAL = 1,
    POS_STATUS_DISCONNECTED = 2,
    POS_STATUS_AUTH_FAILED = 3,
};

/// How the device sends.
enum POS_CONN_TYPE : int {
    POS_CONN_TCP_CLIENT = 0, ///< we connect to it
    POS_CONN_TCP_SERVER = 1, ///< it connects to us
    POS_CONN_UDP = 2,
};

/// The columns of table "pos", in its order.
enum POS_INFO_FIELDS : int {
    POS_INFO_ID = 0,
    POS_INFO_NAME = 1,
    POS_INFO_SERVER_ID = 2, ///< recording server that owns it; 0: this one
    POS_INFO_ENABLED = 3,
    POS_INFO_STATUS = 4,
    POS_INFO_CONN_TYPE = 5,
    POS_INFO_HOST = 6,
    POS_INFO_PORT = 7,
    POS_INFO_ENCODING = 8,   ///< of its text, as iconv names it
    POS_INFO_START_TEXT = 9, ///< a line that holds it begins a transaction
    POS_INFO_END_TEXT = 10,  ///< a line that holds it ends one
    POS_INFO_CAMERA_ID = 11, ///< camera that looks at the till; 0: none
};

VX_TAGGED_FIELD(POS_INFO_ID, int, "id");
VX_TAGGED_FIELD(POS_INFO_NAME, std::string, "name");
VX_TAGGED_FIELD(POS_INFO_SERVER_ID, int, "server_id");
VX_TAGGED_FIELD(POS_INFO_ENABLED, bool, "enabled");
VX_TAGGED_FIELD(POS_INFO_STATUS, POS_STATUS, "status");
VX_TAGGED_FIELD(POS_INFO_CONN_TYPE, POS_CONN_TYPE, "conn_type");
VX_TAGGED_FIELD(POS_INFO_HOST, std::string, "host");
VX_TAGGED_FIELD(POS_INFO_PORT, int, "port");
VX_TAGGED_FIELD(POS_INFO_ENCODING, std::string, "encoding");
VX_TAGGED_FIELD(POS_INFO_START_TEXT, std::string, "start_text");
VX_TAGGED_FIELD(POS_INFO_END_TEXT, std::string, "end_text");
VX_TAGGED_FIELD(POS_INFO_CAMERA_ID, int, "camera_id");

/// One point-of-sale device. A plain record, which its mapping stores, loads and lists.
using PosInfo =
    TaggedStruct<POS_INFO_FIELDS, POS_INFO_ID, POS_INFO_NAME, POS_INFO_SERVER_ID, POS_INFO_ENABLED,
                 POS_INFO_STATUS, POS_INFO_CONN_TYPE, POS_INFO_HOST, POS_INFO_PORT, POS_INFO_ENCODING,
                 POS_INFO_START_TEXT, POS_INFO_END_TEXT, POS_INFO_CAMERA_ID>;

using PosMapping = VxDB::DBMapping<PosInfo, POS_INFO_FIELDS, POS_INFO_ID>;

/// The table that they are stored in. May throw std::bad_alloc.
inline PosMapping GetPosMapping()
{
    return PosMapping(VxDB::DB_SYSTEM, gszTablePos);
}
