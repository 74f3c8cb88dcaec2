// SPDX-License-Identifier: Apache-2.0
// taggedstruct.h - a record as a list of tagged, typed fields; everything else follows from the list.
#pragma once

#include <type_traits>
#include <utility>

#include "taggedfield.h"

/// A record whose members are the listed values of the enumeration Fields. The struct for F0, F1, ... holds
/// the member for F0 and derives from the struct for F1, ...; so each tail is a record too.
///
/// A new record holds 0, false and "" in each field.
/// Thread-safety: that of a plain struct.
template <typename Fields, Fields... Fs>
class TaggedStruct;

/// The end of every record: no field.
template <typename Fields>
class TaggedStruct<Fields> {
public:
    using FieldsType = Fields;
    static constexpr std::size_t FIELD_COUNT = 0;

    friend bool operator==(const TaggedStruct&, const TaggedStruct&) = default;

protected:
    template <Fields F>
    static constexpr bool Has() noexcept
    {
        return false;
    }
    template <typename Fn>
    void VisitFrom(Fn&&)
    {}
    template <typename Fn>
    void VisitFrom(Fn&&) const
    {}
};

template <typename Fields, Fields F0, Fields... Fs>
class TaggedStruct<Fields, F0, Fs...> : public TaggedStruct<Fields, Fs...> {
    static_assert(std::is_enum_v<Fields>, "The fields of a record are the values of an enumeration.");
    static_assert(VxDB::detail::CheckField<F0, Fs...>());

public:
    using FieldsType = Fields;
    static constexpr std::size_t FIELD_COUNT = 1 + sizeof...(Fs);

    /// Whether F is one of the record's fields.
    template <Fields F>
    static constexpr bool Has() noexcept
    {
        return F == F0 || ((F == Fs) || ...);
    }

    /// The value of field F.
    template <Fields F>
    auto& Get() noexcept
    {
        static_assert(Has<F>(), "The record has no such field.");
        if constexpr (F == F0) {
            return m_value;
        } else {
            return Tail::template Get<F>();
        }
    }
    template <Fields F>
    const auto& Get() const noexcept
    {
        return const_cast<TaggedStruct*>(this)->template Get<F>();
    }

    /// Calls fn(std::integral_constant<Fields, F>) for each field in order.
    template <typename Fn>
    static void VisitTags(Fn&& fn)
    {
        fn(std::integral_constant<Fields, F0>{});
        (fn(std::integral_constant<Fields, Fs>{}), ...);
    }
    /// Calls fn(std::integral_constant<Fields, F>, value) for each field in order.
    template <typename Fn>
    void Visit(Fn&& fn)
    {
        VisitFrom(fn);
    }
    template <typename Fn>
    void Visit(Fn&& fn) const
    {
        VisitFrom(fn);
    }

    friend bool operator==(const TaggedStruct&, const TaggedStruct&) = default;

protected:
    using Tail = TaggedStruct<Fields, Fs...>;

    template <typename Fn>
    void VisitFrom(Fn& fn)
    {
        fn(std::integral_constant<Fields, F0>{}, m_value);
        Tail::VisitFrom(fn);
    }
    template <typename Fn>
    void VisitFrom(Fn& fn) const
    {
        fn(std::integral_constant<Fields, F0>{}, m_value);
        Tail::VisitFrom(fn);
    }

private:
    typename TaggedField<F0>::Type m_value{};
};

/// Access to fields of a record by their tags; with one field it stands for that field's value.
/// Borrows the record, which must outlive it.
template <typename TS, typename TS::FieldsType... Fs>
class TaggedStructProxy {
public:
    using Record = TS;
    static constexpr std::size_t FIELD_COUNT = sizeof...(Fs);

    explicit TaggedStructProxy(TS& rec) noexcept : m_rec(rec) {}

    /// Whether F is one of the proxy's fields.
    template <typename TS::FieldsType F>
    static constexpr bool Has() noexcept
    {
        return ((F == Fs) || ...);
    }

    template <typename TS::FieldsType F>
    auto& Get() const noexcept
    {
        static_assert(Has<F>(), "The proxy does not give access to this field.");
        return m_rec.template Get<F>();
    }

    /// The value of the one field.
    auto& Value() const noexcept requires(sizeof...(Fs) == 1) { return (m_rec.template Get<Fs>(), ...); }
    template <typename V>
    requires(sizeof...(Fs) == 1) const TaggedStructProxy& operator=(V&& value) const
    {
        Value() = std::forward<V>(value);
        return *this;
    }

private:
    TS& m_rec;
};
