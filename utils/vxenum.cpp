// SPDX-License-Identifier: Apache-2.0
// utils/vxenum.cpp - enumeration tables that this library owns, and the exported lookups.
#include "vxenum.h"

template <>
VxEnum2StrMap<FAILOVER_STATUS>::VxEnum2StrMap()
    : m_map{
          {FAILOVER_STATUS_NONE, ""},
          {FAILOVER_STATUS_FAILOVERING, "failovering"},
          {FAILOVER_STATUS_RECOVERING, "recovering"},
          {FAILOVER_STATUS_WAIT_MANUAL_RESTORE, "wait_manual_restore"},
          {FAILOVER_STATUS_ERROR, "failover_error"},
      }
{}

template <>
VxEnum2StrMap<FAILOVER_REASON>::VxEnum2StrMap()
    : m_map{
          {FAILOVER_REASON_NONE, ""},
          {FAILOVER_REASON_DISCON, "reason_discon"},
          {FAILOVER_REASON_VOL_CRASH, "reason_vol_crash"},
          {FAILOVER_REASON_VOL_DEGRADE, "reason_vol_degrade"},
          {FAILOVER_REASON_MANUAL, "reason_manual"},
          {FAILOVER_REASON_PKG_UNINSTALL, "reason_pkg_uninstall"},
          {FAILOVER_REASON_PKG_DISABLE, "reason_pkg_disable"},
          {FAILOVER_REASON_CNT, "reason_cnt"},
      }
{}

template <>
VxEnum2StrMap<FAILOVERD_CMD_TYPE>::VxEnum2StrMap()
    : m_map{
          {FAILOVERD_CMD_SET_PUSH_FLAGS, "set-push-flags"},
          {FAILOVERD_CMD_SET_ADMIT_BY_HOST_FLAG, "set-admit-by-host-flag"},
          {FAILOVERD_CMD_GET_ALL_FLAGS, "get-all-flags"},
          {FAILOVERD_CMD_NUM, "num-of-cmds"},
      }
{}

template <>
VxEnum2StrMap<FAILOVER_RESTORE_TYPE>::VxEnum2StrMap()
    : m_map{
          {FAILOVER_RESTORE_TYPE_RESTORE, "restore"},
          {FAILOVER_RESTORE_TYPE_CANCEL, "cancel"},
          {FAILOVER_RESTORE_TYPE_REPLACE, "replace"},
      }
{}

template VX_API const char* Enum2String<LOG_CATEG>(LOG_CATEG);
template VX_API const char* Enum2String<LOG_LEVEL>(LOG_LEVEL);
template VX_API const char* Enum2String<SLAVE_ND_CONN_STATUS>(SLAVE_ND_CONN_STATUS);
template VX_API const char* Enum2String<FAILOVER_STATUS>(FAILOVER_STATUS);
template VX_API const char* Enum2String<FAILOVER_REASON>(FAILOVER_REASON);
template VX_API const char* Enum2String<FAILOVERD_CMD_TYPE>(FAILOVERD_CMD_TYPE);
template VX_API const char* Enum2String<FAILOVER_RESTORE_TYPE>(FAILOVER_RESTORE_TYPE);
