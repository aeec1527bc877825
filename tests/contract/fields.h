// fields.h: where the fields of a record lie, private ones included.
//
// A record's fields are told in their order, each with its type:
//
//   struct PointFields { friend Places placesOf(PointFields); };
//   template struct Fields<PointFields, Nothing, Field<int, &Point::x>, Field<int, &Point::y>>;
//
// placesOf(PointFields()) then says where they are, and where they would be one behind the other.
// The names in an explicit instantiation may be private ones. That a field has the type told is
// asserted by the compiler; expectInOrder() and expectInOrderAndNoMore() expect that they lie so.
#ifndef FIELDS_H
#define FIELDS_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <tuple>
#include <type_traits>
#include <vector>

struct Places {
    std::vector<std::size_t> found;
    std::vector<std::size_t> inOrder;
    std::size_t sizeFound;    // of the whole record
    std::size_t sizeInOrder;  // of a record with these fields only
};

// What lies before the first field of a record: the table of one with virtual operations, or its
// base class.
struct Nothing {};
struct Table {
    void* table;
};

template <typename Type, auto member>
struct Field;
template <typename Told, typename Class, typename Type, Type Class::*member>
struct Field<Told, member> {
    static_assert(std::is_same_v<Told, std::remove_const_t<Type>>, "the field has another type");

    using Record = Class;
    static constexpr std::size_t kSize = sizeof(Type);
    static constexpr std::size_t kAlignment = alignof(Type);

    // A pointer to a field is its distance from the start of the record.
    static std::size_t place() {
        Type Class::*const pointer = member;
        static_assert(sizeof pointer == sizeof(std::size_t));
        std::size_t distance = 0;
        std::memcpy(&distance, &pointer, sizeof distance);
        return distance;
    }
};

template <typename Tag, typename Base, typename... Members>
struct Fields {
    friend Places placesOf(Tag) {
        Places places = {{Members::place()...}, {}, 0, 0};
        std::size_t end = std::is_empty_v<Base> ? 0 : sizeof(Base);
        std::size_t alignment = alignof(Base);
        (
            [&] {
                end = roundUp(end, Members::kAlignment);
                places.inOrder.push_back(end);
                end += Members::kSize;
                alignment = std::max(alignment, Members::kAlignment);
            }(),
            ...);
        places.sizeFound = sizeof(typename std::tuple_element_t<0, std::tuple<Members...>>::Record);
        places.sizeInOrder = roundUp(end, alignment);
        return places;
    }

private:
    static std::size_t roundUp(std::size_t value, std::size_t unit) {
        return (value + unit - 1) / unit * unit;
    }
};

// Behind the fields told there may be others.
inline void expectInOrder(const Places& places) {
    EXPECT_EQ(places.found, places.inOrder);
    EXPECT_GE(places.sizeFound, places.sizeInOrder);
}

inline void expectInOrderAndNoMore(const Places& places) {
    EXPECT_EQ(places.found, places.inOrder);
    EXPECT_EQ(places.sizeFound, places.sizeInOrder);
}

#endif
