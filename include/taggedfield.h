// SPDX-License-Identifier: Apache-2.0
// taggedfield.h - how one field of a record is declared, and what the compiler checks of it.
#pragma once

#include <array>
#include <bitset>
#include <cstddef>
#include <string>
#include <string_view>
#include <type_traits>

/// The declaration of one field: its value type and its column, which is its JSON key too.
/// Written with VX_TAGGED_FIELD; a field without a declaration does not compile in a record.
template <auto F>
struct TaggedField {
    static constexpr bool DECLARED = false;
    using Type = int;
    static constexpr const char* COLUMN = "";
};

/// Declares field FIELD (an enumerator) with value type TYPE and column NAME. Used in the global namespace.
///
///     enum DOOR_FIELD { DOOR_ID, DOOR_NAME };
///     VX_TAGGED_FIELD(DOOR_ID, int, "id");
///     VX_TAGGED_FIELD(DOOR_NAME, std::string, "name");
///     using DoorInfo = TaggedStruct<DOOR_FIELD, DOOR_ID, DOOR_NAME>;
#define VX_TAGGED_FIELD(FIELD, TYPE, NAME)                                                                   \
    template <>                                                                                              \
    struct TaggedField<FIELD> {                                                                              \
        static constexpr bool DECLARED = true;                                                               \
        using Type = TYPE;                                                                                   \
        static constexpr const char* COLUMN = NAME;                                                          \
    }

namespace VxDB::detail {

/// Integers that fit a column, which is signed and 64 bits wide; a character is no number.
template <typename T>
constexpr bool IS_COLUMN_INTEGER =
    std::is_integral_v<T> && !std::is_same_v<T, bool> && !std::is_same_v<T, char> &&
    !std::is_same_v<T, wchar_t> && !std::is_same_v<T, char8_t> && !std::is_same_v<T, char16_t> &&
    !std::is_same_v<T, char32_t> && (std::is_signed_v<T> || sizeof(T) < sizeof(long long));

template <typename T>
constexpr bool IsColumnEnum()
{
    if constexpr (std::is_enum_v<T>) {
        return IS_COLUMN_INTEGER<std::underlying_type_t<T>>;
    } else {
        return false;
    }
}

/// The value types of a record's field.
template <typename T>
constexpr bool IS_FIELD_TYPE = IS_COLUMN_INTEGER<T> || IsColumnEnum<T>() || std::is_same_v<T, bool> ||
                               std::is_same_v<T, std::string> || std::is_same_v<T, std::bitset<3>>;

constexpr char LowerAscii(char c) noexcept
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// Column names are compared as the database does: without regard to case.
constexpr bool IsSameColumn(std::string_view a, std::string_view b) noexcept
{
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (LowerAscii(a[i]) != LowerAscii(b[i])) {
            return false;
        }
    }
    return true;
}

/// A column name goes into statements bare, so it must be one word.
constexpr bool IsColumnName(std::string_view name) noexcept
{
    if (name.empty() || (name[0] >= '0' && name[0] <= '9')) {
        return false;
    }
    for (const char c : name) {
        const char lower = LowerAscii(c);
        if (!((lower >= 'a' && lower <= 'z') || (c >= '0' && c <= '9') || c == '_')) {
            return false;
        }
    }
    return true;
}

template <auto F>
constexpr std::string_view COLUMN_NAME = TaggedField<F>::COLUMN;

/// What must hold for field F0 standing before the fields Fs; one sentence for each mistake.
template <auto F0, auto... Fs>
constexpr bool CheckField()
{
    static_assert(TaggedField<F0>::DECLARED,
                  "A field of the record has no declaration: add VX_TAGGED_FIELD(field, type, \"column\").");
    static_assert(
        IS_FIELD_TYPE<typename TaggedField<F0>::Type>,
        "A field's type must be an integer of at most 63 value bits, bool, std::string, an enumeration "
        "or std::bitset<3>.");
    static_assert(!TaggedField<F0>::DECLARED || IsColumnName(COLUMN_NAME<F0>),
                  "A column name consists of letters, digits and '_' and does not start with a digit.");
    static_assert(((F0 < Fs) && ...),
                  "The fields of a record are listed in the order of their enumeration, each once.");
    static_assert(!TaggedField<F0>::DECLARED || (!IsSameColumn(COLUMN_NAME<F0>, COLUMN_NAME<Fs>) && ...),
                  "Two fields of the record have the same column name.");
    return true;
}

/// The same for a whole list, in the order of the list.
template <auto F0, auto... Fs>
constexpr bool CheckFields()
{
    if constexpr (sizeof...(Fs) == 0) {
        return CheckField<F0>();
    } else {
        return CheckField<F0, Fs...>() && CheckFields<Fs...>();
    }
}

} // namespace VxDB::detail
