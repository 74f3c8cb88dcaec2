// SPDX-License-Identifier: Apache-2.0
// bench/support/wide_record.h - a record of 46 columns: 25 integers (the key first), 3 booleans, 18 texts.
#pragma once

#include <array>
#include <string>
#include <type_traits>
#include <utility>

#include "taggedstruct.h"

constexpr int WIDE_INTEGERS = 25;
constexpr int WIDE_BOOLEANS = 3;
constexpr int WIDE_COLUMNS = 46;

enum WIDE_FIELD : int { WIDE_ID = 0 };

/// "id", then "column_01" to "column_45".
struct WideNames {
    char text[WIDE_COLUMNS][12]{};

    constexpr WideNames()
    {
        constexpr char PREFIX[] = "column_";
        for (int i = 0; i < WIDE_COLUMNS; ++i) {
            for (int at = 0; at < 7; ++at) {
                text[i][at] = PREFIX[at];
            }
            text[i][7] = static_cast<char>('0' + i / 10);
            text[i][8] = static_cast<char>('0' + i % 10);
        }
        text[0][0] = 'i';
        text[0][1] = 'd';
        text[0][2] = '\0';
    }
};
inline constexpr WideNames WIDE_NAMES;

template <auto F>
requires std::is_same_v<decltype(F), WIDE_FIELD>
struct TaggedField<F> {
    static constexpr bool DECLARED = true;
    using Type =
        std::conditional_t<(F < WIDE_INTEGERS), int,
                           std::conditional_t<(F < WIDE_INTEGERS + WIDE_BOOLEANS), bool, std::string>>;
    static constexpr const char* COLUMN = WIDE_NAMES.text[F];
};

template <int... I>
auto WideRecordOf(std::integer_sequence<int, I...>)
    -> TaggedStruct<WIDE_FIELD, static_cast<WIDE_FIELD>(I)...>;
using WideRecord = decltype(WideRecordOf(std::make_integer_sequence<int, WIDE_COLUMNS>{}));

/// A record with values as they occur: small and large numbers, texts of 8 to 40 bytes.
inline WideRecord MakeWideRecord(int id)
{
    WideRecord record;
    record.Visit([id]<WIDE_FIELD F, typename T>(std::integral_constant<WIDE_FIELD, F>, T& value) {
        if constexpr (std::is_same_v<T, std::string>) {
            value = "camera " + std::to_string(id) + std::string(static_cast<std::size_t>(F) % 32, 'x');
        } else if constexpr (std::is_same_v<T, bool>) {
            value = (id + F) % 2 != 0;
        } else {
            value = F == WIDE_ID ? id : F % 3 == 0 ? F : id * 997 + F * 65537;
        }
    });
    return record;
}
