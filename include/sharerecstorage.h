// SPDX-License-Identifier: Apache-2.0
// sharerecstorage.h - the record of a shared folder that recordings are stored in.
#pragma once

#include <bitset>
#include <string>

#include "dbmapping.h"
#include "package/dbtables.h"
#include "taggedstruct.h"

/// Whether a storage can be recorded to.
enum REC_STORAGE_STATUS : int {
    REC_STORAGE_NORMAL = 0,
    REC_STORAGE_DISABLED = 1,
    REC_STORAGE_UNMOUNTED = 2,
    REC_STORAGE_READ_ONLY = 3,
    REC_STORAGE_FULL = 4,
    REC_STORAGE_AUTH_FAILED = 5,
};

/// Versions of the protocol that the folder is mounted with, as bits of SHARE_REC_STORAGE_PROTOCOLS.
enum SHARE_PROTOCOL : int {
    SHARE_PROTOCOL_SMB1 = 0,
    SHARE_PROTOCOL_SMB2 = 1,
    SHARE_PROTOCOL_SMB3 = 2,
};

/// The columns of table "share_rec_storage", in its order.
enum SHARE_REC_STORAGE_FIELDS : int {
    SHARE_REC_STORAGE_ID = 0,
    SHARE_REC_STORAGE_NAME = 1,
    SHARE_REC_STORAGE_SERVER_ID = 2, ///< recording server that records to it; 0: this one
    SHARE_REC_STORAGE_STATUS = 3,
    SHARE_REC_STORAGE_HOST = 4,
    SHARE_REC_STORAGE_SHARE = 5,      ///< name of the folder on its host
    SHARE_REC_STORAGE_MOUNT_PATH = 6, ///< relative to rec/
    SHARE_REC_STORAGE_USERNAME = 7,
    SHARE_REC_STORAGE_PASSWORD = 8, ///< ciphered, see package/dbpasswd.h
    SHARE_REC_STORAGE_PROTOCOLS = 9,
    SHARE_REC_STORAGE_ENCRYPTED = 10, ///< the transport is
    SHARE_REC_STORAGE_QUOTA_MB = 11,  ///< megabytes to use; 0: all
};

VX_TAGGED_FIELD(SHARE_REC_STORAGE_ID, int, "id");
VX_TAGGED_FIELD(SHARE_REC_STORAGE_NAME, std::string, "name");
VX_TAGGED_FIELD(SHARE_REC_STORAGE_SERVER_ID, int, "server_id");
VX_TAGGED_FIELD(SHARE_REC_STORAGE_STATUS, REC_STORAGE_STATUS, "status");
VX_TAGGED_FIELD(SHARE_REC_STORAGE_HOST, std::string, "host");
VX_TAGGED_FIELD(SHARE_REC_STORAGE_SHARE, std::string, "share");
VX_TAGGED_FIELD(SHARE_REC_STORAGE_MOUNT_PATH, std::string, "mount_path");
VX_TAGGED_FIELD(SHARE_REC_STORAGE_USERNAME, std::string, "username");
VX_TAGGED_FIELD(SHARE_REC_STORAGE_PASSWORD, std::string, "password");
VX_TAGGED_FIELD(SHARE_REC_STORAGE_PROTOCOLS, std::bitset<3>, "protocols");
VX_TAGGED_FIELD(SHARE_REC_STORAGE_ENCRYPTED, bool, "encrypted");
VX_TAGGED_FIELD(SHARE_REC_STORAGE_QUOTA_MB, int, "quota_mb");

/// One storage. A plain record, which its mapping stores, loads and lists.
using ShareRecStorage =
    TaggedStruct<SHARE_REC_STORAGE_FIELDS, SHARE_REC_STORAGE_ID, SHARE_REC_STORAGE_NAME,
                 SHARE_REC_STORAGE_SERVER_ID, SHARE_REC_STORAGE_STATUS, SHARE_REC_STORAGE_HOST,
                 SHARE_REC_STORAGE_SHARE, SHARE_REC_STORAGE_MOUNT_PATH, SHARE_REC_STORAGE_USERNAME,
                 SHARE_REC_STORAGE_PASSWORD, SHARE_REC_STORAGE_PROTOCOLS, SHARE_REC_STORAGE_ENCRYPTED,
                 SHARE_REC_STORAGE_QUOTA_MB>;

using ShareRecStorageMapping =
    VxDB::DBMapping<ShareRecStorage, SHARE_REC_STORAGE_FIELDS, SHARE_REC_STORAGE_ID>;

/// The table that they are stored in. May throw std::bad_alloc.
inline ShareRecStorageMapping GetShareRecStorageMapping()
{
    return ShareRecStorageMapping(VxDB::DB_SYSTEM, gszTableShareRecStorage);
}
