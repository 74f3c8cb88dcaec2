// SPDX-License-Identifier: Apache-2.0
// transactionslog.h - the record of one transaction of a point-of-sale device, and of its lines.
#pragma once

#include <string>

#include "dbmapping.h"
#include "dbwrapper.h"
#include "package/dbtables.h"
#include "taggedstruct.h"

/// How a transaction ended.
enum TRANSACTION_STATUS : int {
    TRANSACTION_OPEN = 0,
    TRANSACTION_COMPLETE = 1,
    TRANSACTION_CUT = 2, ///< the device went away in the middle
};

/// The columns of table "transactions_log", in its order.
enum TRANSACTIONS_LOG_FIELDS : int {
    TRANSACTIONS_LOG_ID = 0,
    TRANSACTIONS_LOG_POS_ID = 1,   ///< device that sent it
    TRANSACTIONS_LOG_POS_NAME = 2, ///< its name then
    TRANSACTIONS_LOG_SERVER_ID = 3,
    TRANSACTIONS_LOG_STATUS = 4,
    TRANSACTIONS_LOG_START_TIME = 5, ///< seconds since 1970
    TRANSACTIONS_LOG_END_TIME = 6,   ///< 0 until it is closed
    TRANSACTIONS_LOG_CAMERA_ID = 7,  ///< camera that looked at the till; 0: none
};

VX_TAGGED_FIELD(TRANSACTIONS_LOG_ID, int, "id");
VX_TAGGED_FIELD(TRANSACTIONS_LOG_POS_ID, int, "pos_id");
VX_TAGGED_FIELD(TRANSACTIONS_LOG_POS_NAME, std::string, "pos_name");
VX_TAGGED_FIELD(TRANSACTIONS_LOG_SERVER_ID, int, "server_id");
VX_TAGGED_FIELD(TRANSACTIONS_LOG_STATUS, TRANSACTION_STATUS, "status");
VX_TAGGED_FIELD(TRANSACTIONS_LOG_START_TIME, long long, "start_time");
VX_TAGGED_FIELD(TRANSACTIONS_LOG_END_TIME, long long, "end_time");
VX_TAGGED_FIELD(TRANSACTIONS_LOG_CAMERA_ID, int, "camera_id");

/// One transaction. A plain record, which its mapping stores, loads and lists.
using TransactionsLog =
    TaggedStruct<TRANSACTIONS_LOG_FIELDS, TRANSACTIONS_LOG_ID, TRANSACTIONS_LOG_POS_ID,
                 TRANSACTIONS_LOG_POS_NAME, TRANSACTIONS_LOG_SERVER_ID, TRANSACTIONS_LOG_STATUS,
                 TRANSACTIONS_LOG_START_TIME, TRANSACTIONS_LOG_END_TIME, TRANSACTIONS_LOG_CAMERA_ID>;

using TransactionsLogMapping = VxDB::DBMapping<TransactionsLog, TRANSACTIONS_LOG_FIELDS, TRANSACTIONS_LOG_ID>;

/// The table that they are stored in. May throw std::bad_alloc.
inline TransactionsLogMapping GetTransactionsLogMapping()
{
    return TransactionsLogMapping(VxDB::DB_LOG, gszTableTransactionsLog);
}

/// The columns of table "transactions_content".
enum TRANSACTIONS_CONTENT_DB_COLUMNS : int {
    TRANSACTIONS_CONTENT_ID = 0,             ///< -1: not yet stored
    TRANSACTIONS_CONTENT_TRANSACTION_ID = 1, ///< row of transactions_log
    TRANSACTIONS_CONTENT_TIMESTAMP = 2,      ///< seconds since 1970
    TRANSACTIONS_CONTENT_MSEC = 3,           ///< 0 to 999
    TRANSACTIONS_CONTENT_CONTENT = 4,        ///< the line as it came, in UTF-8
};

VX_TAGGED_FIELD(TRANSACTIONS_CONTENT_ID, int, "id");
VX_TAGGED_FIELD(TRANSACTIONS_CONTENT_TRANSACTION_ID, int, "transaction_id");
VX_TAGGED_FIELD(TRANSACTIONS_CONTENT_TIMESTAMP, int, "timestamp");
VX_TAGGED_FIELD(TRANSACTIONS_CONTENT_MSEC, int, "msec");
VX_TAGGED_FIELD(TRANSACTIONS_CONTENT_CONTENT, std::string, "content");

template <>
struct DBWrapperTraits<TRANSACTIONS_CONTENT_DB_COLUMNS>
    : DBWrapperColumns<TRANSACTIONS_CONTENT_ID, TRANSACTIONS_CONTENT_TRANSACTION_ID,
                       TRANSACTIONS_CONTENT_TIMESTAMP, TRANSACTIONS_CONTENT_MSEC,
                       TRANSACTIONS_CONTENT_CONTENT> {
    static constexpr VxDB::DB_INSTANCE DBI = VxDB::DB_LOG;
    static constexpr const char* TABLE = gszTableTransactionsContent;
    static constexpr bool LOG_ON_ERROR = true;
};

/// One line of a transaction.
using TransactionsContent = DBWrapper<TRANSACTIONS_CONTENT_DB_COLUMNS>;
