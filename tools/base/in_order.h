#pragma once

#include "base/progress.h"

#include <algorithm>
#include <cstdint>
#include <exception>
#include <optional>
#include <stdexcept>
#include <type_traits>
#include <vector>

#include <oneapi/tbb/parallel_pipeline.h>
#include <oneapi/tbb/task_arena.h>

template <typename Item>
struct ItemInFlight {
    std::optional<Item> item;
    PhaseTimes times;
    std::exception_ptr error;

    template <typename Step>
    void attempt(Step step) {
        try {
            step();
        } catch (...) {
            error = std::current_exception();
        }
    }
};

// Works on many items at the same time and gives the same result as one after the other:
// - `next(times)` gives the next item, or nothing at the end, and is called by one thread at a
// time;
// - `work(item, times)` runs on all threads of the arena (base/jobs.h);
// - `accept(item)` is called for one item after the other in their order.
// What any of them throws is thrown when the turn of its item comes, and nothing is accepted after
// it. There are never more than two items for each thread, or `most` items. Calls may be nested.
// The time of every accepted item is added to `times`.
template <typename Next, typename Work, typename Accept>
void processInOrder(PhaseTimes& times, Next next, Work work, Accept accept,
                    size_t most = SIZE_MAX) {
    using Slot = ItemInFlight<typename std::invoke_result_t<Next, PhaseTimes&>::value_type>;
    // An item takes the place of one that was accepted.
    const auto threads = static_cast<size_t>(tbb::this_task_arena::max_concurrency());
    std::vector<Slot> slots(std::min(2 * threads, most));
    size_t started = 0;
    bool failed = false;
    const auto first = [&](tbb::flow_control& flow) -> Slot* {
        Slot& slot = slots[started % slots.size()];
        slot = {};
        if (!failed)
            slot.attempt([&] { slot.item = next(slot.times); });
        failed |= slot.error != nullptr;
        if (!slot.item && !slot.error) {
            flow.stop();
            return nullptr;
        }
        ++started;
        return &slot;
    };
    const auto middle = [&](Slot* slot) {
        if (!slot->error)
            slot->attempt([&] { work(*slot->item, slot->times); });
        return slot;
    };
    const auto last = [&](Slot* slot) {
        times += slot->times;
        if (slot->error)
            std::rethrow_exception(slot->error);
        accept(*slot->item);
        slot->item.reset();
    };
    using enum tbb::filter_mode;
    const auto filters = tbb::make_filter<void, Slot*>(serial_in_order, first) &
                         tbb::make_filter<Slot*, Slot*>(parallel, middle) &
                         tbb::make_filter<Slot*, void>(serial_in_order, last);
    tbb::task_group_context context;
    // A thread that waits for these items takes up no other work, which could take much longer.
    tbb::this_task_arena::isolate([&] { tbb::parallel_pipeline(slots.size(), filters, context); });
    if (context.is_group_execution_cancelled()) // by an error of the call that this is nested in
        throw std::runtime_error("given up");
}

// The items 0 to `count` - 1.
inline auto indicesBelow(size_t count) {
    return [count, next = size_t{0}](PhaseTimes&) mutable -> std::optional<size_t> {
        return next < count ? std::optional(next++) : std::nullopt;
    };
}
