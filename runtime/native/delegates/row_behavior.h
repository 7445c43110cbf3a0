// Behaviors that work on a row: one function for all rows of a table, which it gets as its first argument.
//
//     struct Number { const PropertyName& property; uint16_t tag; };
//     constexpr Number kNumbers[] = {{api::ExifData::property_ISOSpeed, 0x8833}, ...};
//
//     int32_t number(const Number& row, ExifObject& self);
//     void set_number(const Number& row, ExifObject& self, int32_t value);
//     BehaviorRow behavior_of(const Number& row) {
//         return row_property<&number, &set_number>(row.property, row);
//     }
//     const BehaviorTable ZELMOR_UNNAMED(each_row(kNumbers, behavior_of));
//
// A call goes through a delegate that was made at run time, which costs some 40 nanoseconds more than a function of its
// own; what it saves is a copy of the function for each row.
#ifndef ZELMOR_RUNTIME_NATIVE_DELEGATES_ROW_BEHAVIOR_H
#define ZELMOR_RUNTIME_NATIVE_DELEGATES_ROW_BEHAVIOR_H

#include <cassert>
#include <utility>
#include <vector>

#include "runtime/native/core/entry.h"
#include "runtime/native/delegates/closure.h"

namespace zelmor::embed {

namespace detail {

template <auto F, class Type = decltype(F)>
struct RowCall;

template <auto F, class R, class Row, class... P>
struct RowCall<F, R (*)(const Row&, P...)> {
    using RowType = Row;
    static constexpr std::array<char, sizeof...(P) + 2> signature = {Result<R>::code, Arg<P>::code..., '\0'};

    static void run(void* context, CallFrame& frame) {
        run_with(*static_cast<const Row*>(context), frame, std::index_sequence_for<P...>());
    }
    template <size_t... kIndex>
    static void run_with(const Row& row, CallFrame& frame, std::index_sequence<kIndex...>) {
        if constexpr (std::is_void_v<R>) {
            F(row, Arg<P>::read(frame.argument<typename Arg<P>::Wire>(kIndex))...);
        } else {
            frame.set_result(Result<R>::write(F(row, Arg<P>::read(frame.argument<typename Arg<P>::Wire>(kIndex))...)));
        }
    }
};

template <auto F, TrailingResult R, class Row, class... P>
struct RowCall<F, R (*)(const Row&, P...)> {
    using RowType = Row;
    static constexpr std::array<char, sizeof...(P) + 3> signature = {'v', Arg<P>::code..., Result<R>::code, '\0'};

    static void run(void* context, CallFrame& frame) {
        run_with(*static_cast<const Row*>(context), frame, std::index_sequence_for<P...>());
    }
    template <size_t... kIndex>
    static void run_with(const Row& row, CallFrame& frame, std::index_sequence<kIndex...>) {
        Result<R>::write(F(row, Arg<P>::read(frame.argument<typename Arg<P>::Wire>(kIndex))...),
                         frame.argument<typename Result<R>::Out>(sizeof...(P)));
    }
};

}  // namespace detail

// A function as the behavior of the entry point that `name` points to, with the row. Both have to stay for good.
template <auto F>
Behavior row_behavior(const EntryName* const& name, const typename detail::RowCall<F>::RowType& row) {
    assert(name != nullptr);
    using Call = detail::RowCall<F>;
    return {{&name, 1}, {Call::signature.data(), nullptr}, &Call::run, &row};
}

// A property that is only read.
template <auto Get>
BehaviorRow row_property(const PropertyName& property, const typename detail::RowCall<Get>::RowType& row) {
    return row_behavior<Get>(property.getter, row);
}
// A property with its setter.
template <auto Get, auto Set>
BehaviorRow row_property(const PropertyName& property, const typename detail::RowCall<Get>::RowType& row) {
    return {row_behavior<Get>(property.getter, row), row_behavior<Set>(property.setter, row)};
}

// The behaviors of all rows of a table, which has to stay for good: `make` gives the behavior of one.
template <class Row, size_t kCount, class Make>
std::vector<BehaviorRow> each_row(const Row (&rows)[kCount], Make make) {
    std::vector<BehaviorRow> behaviors;
    behaviors.reserve(kCount);
    for (const Row& row : rows) {
        behaviors.push_back(make(row));
    }
    return behaviors;
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_DELEGATES_ROW_BEHAVIOR_H
