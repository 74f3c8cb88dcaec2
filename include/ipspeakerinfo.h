// SPDX-License-Identifier: Apache-2.0
// ipspeakerinfo.h - the record of an IP speaker.
#pragma once

#include <string>

#include "dbmapping.h"
#include "package/dbtables.h"
#include "taggedstruct.h"

/// Whether a speaker can be reached.
enum IP_SPEAKER_STATUS : int {
    IP_SPEAKER_STATUS_DISABLED = 0,
    IP_SPEAKER_STATUS_NORMAL = 1,
    IP_SPEAKER_STATUS_DISCONNECTED = 2,
    IP_SPEAKER_STATUS_AUTH_FAILED = 3,
};

/// The columns of table "ip_speaker", in its order.
enum IP_SPEAKER_INFO_FIELDS : int {
    IP_SPEAKER_INFO_ID = 0,
    IP_SPEAKER_INFO_NAME = 1,
    IP_SPEAKER_INFO_SERVER_ID = 2, ///< recording server that owns it; 0: this one
    IP_SPEAKER_INFO_ENABLED = 3,
    IP_SPEAKER_INFO_STATUS = 4,
    IP_SPEAKER_INFO_VENDOR = 5,
    IP_SPEAKER_INFO_MODEL = 6,
    IP_SPEAKER_INFO_HOST = 7,
    IP_SPEAKER_INFO_PORT = 8,
    IP_SPEAKER_INFO_USERNAME = 9,
    IP_SPEAKER_INFO_PASSWORD = 10, ///< ciphered, see package/dbpasswd.h
    IP_SPEAKER_INFO_CODEC = 11,    ///< "PCMU", "PCMA" or "MPEG4-GENERIC"
    IP_SPEAKER_INFO_VOLUME = 12,   ///< 0 to 100
};

VX_TAGGED_FIELD(IP_SPEAKER_INFO_ID, int, "id");
VX_TAGGED_FIELD(IP_SPEAKER_INFO_NAME, std::string, "name");
VX_TAGGED_FIELD(IP_SPEAKER_INFO_SERVER_ID, int, "server_id");
VX_TAGGED_FIELD(IP_SPEAKER_INFO_ENABLED, bool, "enabled");
VX_TAGGED_FIELD(IP_SPEAKER_INFO_STATUS, IP_SPEAKER_STATUS, "status");
VX_TAGGED_FIELD(IP_SPEAKER_INFO_VENDOR, std::string, "vendor");
VX_TAGGED_FIELD(IP_SPEAKER_INFO_MODEL, std::string, "model");
VX_TAGGED_FIELD(IP_SPEAKER_INFO_HOST, std::string, "host");
VX_TAGGED_FIELD(IP_SPEAKER_INFO_PORT, int, "port");
VX_TAGGED_FIELD(IP_SPEAKER_INFO_USERNAME, std::string, "username");
VX_TAGGED_FIELD(IP_SPEAKER_INFO_PASSWORD, std::string, "password");
VX_TAGGED_FIELD(IP_SPEAKER_INFO_CODEC, std::string, "codec");
VX_TAGGED_FIELD(IP_SPEAKER_INFO_VOLUME, int, "volume");

/// One IP speaker. A plain record, which its mapping stores, loads and lists.
using IPSpeakerInfo =
    TaggedStruct<IP_SPEAKER_INFO_FIELDS, IP_SPEAKER_INFO_ID, IP_SPEAKER_INFO_NAME, IP_SPEAKER_INFO_SERVER_ID,
                 IP_SPEAKER_INFO_ENABLED, IP_SPEAKER_INFO_STATUS, IP_SPEAKER_INFO_VENDOR,
                 IP_SPEAKER_INFO_MODEL, IP_SPEAKER_INFO_HOST, IP_SPEAKER_INFO_PORT, IP_SPEAKER_INFO_USERNAME,
                 IP_SPEAKER_INFO_PASSWORD, IP_SPEAKER_INFO_CODEC, IP_SPEAKER_INFO_VOLUME>;

using IPSpeakerMapping = VxDB::DBMapping<IPSpeakerInfo, IP_SPEAKER_INFO_FIELDS, IP_SPEAKER_INFO_ID>;

/// The table that they are stored in. May throw std::bad_alloc.
inline IPSpeakerMapping GetIPSpeakerMapping()
{
    return IPSpeakerMapping(VxDB::DB_SYSTEM, gszTableIPSpeaker);
}
