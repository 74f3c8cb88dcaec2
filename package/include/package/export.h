// SPDX-License-Identifier: Apache-2.0
// package/export.h - the mark of an exported symbol. Both libraries hide everything else.
#pragma once

#define VX_API __attribute__((visibility("default")))
