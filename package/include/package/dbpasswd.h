// SPDX-License-Identifier: Apache-2.0
// package/dbpasswd.h - the cipher of passwords that stand in database columns.
#pragma once

#include <string>

#include "package/export.h"

/// Enciphers a password for a database column: AES-256-GCM (NIST SP 800-38D) under the 32-character key
/// in etc/dbpasswd.key, which is made at random on first use, mode 0600. The same password gives another
/// text each time.
///
/// @param out  "v1:" and base64 of nonce, cipher text and tag; empty for an empty password; unchanged on -1
/// @return 0; -1 (logged) when there is no key and none can be made.
/// Thread-safety: any thread; several processes may make the key at once.
[[nodiscard]] VX_API int EncryptDBPasswd(const std::string& passwd, std::string& out) noexcept;

/// The password again.
///
/// @param out  unchanged on -1
/// @return 0; -1 (logged, without the text) when it was not enciphered under this key or was altered.
[[nodiscard]] VX_API int DecryptDBPasswd(const std::string& text, std::string& out) noexcept;
