// SPDX-License-Identifier: Apache-2.0
// utils/vxenum.cpp - enumeration tables that this library owns.
#include "vxenum.h"
