// Finding and ending objects that hold only each other; see collector.h.
#include "runtime/native/core/collector.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <new>
#include <vector>

#include "runtime/native/core/references.h"
#include "runtime/native/core/thread_state.h"

namespace zelmor::embed {

namespace {

// A run over the young generation is due when its objects weigh this much. An object weighs one, and one more for each
// so many bytes that it keeps.
constexpr uint64_t kYoungWeight = 2000;
constexpr uint64_t kBytesOfWeight = 16 * 1024;
// Every so many runs the middle generation is looked at too.
constexpr uint32_t kRunsOfYoung = 4;
// The old generation is not looked at before so much has come to it.
constexpr uint64_t kLeastOldWeight = 10'000;

// In `inside`: the object is held from outside, or by one that is.
constexpr uint32_t kInUse = UINT32_MAX;

struct Entry {
    ManagedObject* object;
    uint32_t inside;  // during a run: counts that are held by objects of the run
    uint32_t weight;
};

struct Generation {
    std::vector<Entry> entries;
    uint64_t weight = 0;
};

}  // namespace

struct Collector::Generations {
    std::array<Generation, kGenerations> all;
    uint32_t young_runs = 0;      // since the last run over the middle generation
    uint64_t weight_at_full = 0;  // of the old generation, after the last run over it
};

constinit bool Collector::due = false;

// Lives until the process ends, as the objects may.
Collector::Generations& Collector::generations() {
    static Generations& instance = *new Generations;
    return instance;
}

size_t Collector::generation_of(const ManagedObject& object) noexcept {
    assert(object.is_tracked());
    return static_cast<size_t>(object.m_tracking) - static_cast<size_t>(ManagedObject::Tracking::kYoung);
}

void Collector::place(ManagedObject& object, size_t generation, size_t position) noexcept {
    object.m_tracking =
        static_cast<ManagedObject::Tracking>(static_cast<size_t>(ManagedObject::Tracking::kYoung) + generation);
    object.m_position = static_cast<uint32_t>(position);
}

void Collector::add(ManagedObject& object, uint64_t bytes) {
    Generation& young = generations().all[0];
    if (young.entries.size() >= UINT32_MAX) {
        throw std::bad_alloc();
    }
    const auto weight = static_cast<uint32_t>(1 + std::min<uint64_t>(bytes / kBytesOfWeight, 1U << 30));
    young.entries.push_back({&object, 0, weight});
    young.weight += weight;
    place(object, 0, young.entries.size() - 1);
    due = young.weight > kYoungWeight;
}

void Collector::remove(const ManagedObject& object) noexcept {
    Generation& generation = generations().all[generation_of(object)];
    const size_t position = position_of(object);
    generation.weight -= generation.entries[position].weight;
    const Entry last = generation.entries.back();
    generation.entries.pop_back();
    if (last.object != &object) {
        generation.entries[position] = last;
        last.object->m_position = static_cast<uint32_t>(position);
    }
    object.m_tracking = ManagedObject::Tracking::kNotYet;
}

void ManagedObject::start_tracking(uint64_t bytes) {
    Collector::add(*this, bytes);
}

void ManagedObject::untrack() const noexcept {
    Collector::remove(*this);
}

size_t Collector::tracked() noexcept {
    size_t count = 0;
    for (const Generation& generation : generations().all) {
        count += generation.entries.size();
    }
    return count;
}

void Collector::run() noexcept {
    Generations& g = generations();
    size_t oldest = 0;
    if (++g.young_runs >= kRunsOfYoung) {
        g.young_runs = 0;
        oldest = g.all[2].weight > g.weight_at_full + std::max(kLeastOldWeight, g.weight_at_full) ? 2 : 1;
    }
    collect(oldest);
}

namespace {

// The objects of one run, and what is found out about them.
struct Run {
    Run(std::array<Generation, Collector::kGenerations>& generations, size_t oldest_one)
        : all(generations), oldest(oldest_one) {}

    std::array<Generation, Collector::kGenerations>& all;
    size_t oldest;
    std::vector<ManagedObject*> reached = {};  // whose references are still to be followed
};

// Calls `visit` for each entry; the objects a little further on are on their way from memory by then, with what usually
// lies right behind them: their values.
template <class Visit>
void for_each_fetched(std::vector<Entry>& entries, Visit visit) {
    constexpr size_t kAhead = 8;
    const size_t count = entries.size();
    for (size_t i = 0; i < count; ++i) {
        if (i + kAhead < count) {
            const auto* const next = reinterpret_cast<const char*>(entries[i + kAhead].object);
            __builtin_prefetch(next);
            __builtin_prefetch(next + 64);
            __builtin_prefetch(next + 128);
        }
        visit(entries[i]);
    }
}

// Takes the references of all these objects out, and ends them with the last of these.
void end_all(std::vector<Ref<ManagedObject>>& garbage) {
    std::vector<Ref<ManagedObject>> taken;
    ReferenceVisitor take(taken);
    for (const Ref<ManagedObject>& object : garbage) {
        object->references(take);
        // Something outside may end here, or an object that is no holder. The garbage itself is held by the list.
        taken.clear();
    }
    garbage.clear();
}

}  // namespace

size_t Collector::collect(size_t oldest) noexcept try {
    assert(oldest < kGenerations && thread_state.callbacks != nullptr && !thread_state.ending);
    Generations& g = generations();
    due = false;
    Run run(g.all, oldest);

    // The counts that the objects of the run hold themselves. An object without any count is being made: the variable
    // that will hold it is not there yet, nor may its members be.
    for (size_t i = 0; i <= oldest; ++i) {
        for (Entry& entry : g.all[i].entries) {
            entry.inside = 0;
        }
    }
    ReferenceVisitor add_up(
        [](ManagedObject& object, void* context) {
            auto& in = *static_cast<Run*>(context);
            if (const size_t generation = generation_of(object); generation <= in.oldest) {
                ++in.all[generation].entries[position_of(object)].inside;
            }
        },
        &run);
    for (size_t i = 0; i <= oldest; ++i) {
        for_each_fetched(g.all[i].entries, [&](const Entry& entry) {
            if (count_of(*entry.object) != 0) {
                entry.object->references(add_up);
            }
        });
    }

    // What is held from outside, and all that it leads to.
    ReferenceVisitor follow(
        [](ManagedObject& object, void* context) {
            auto& in = *static_cast<Run*>(context);
            const size_t generation = generation_of(object);
            if (generation > in.oldest) {
                return;
            }
            Entry& entry = in.all[generation].entries[position_of(object)];
            if (entry.inside != kInUse) {
                entry.inside = kInUse;
                in.reached.push_back(&object);
            }
        },
        &run);
    for (size_t i = 0; i <= oldest; ++i) {
        for_each_fetched(g.all[i].entries, [&](Entry& entry) {
            const uint32_t count = count_of(*entry.object);
            assert(entry.inside == kInUse || entry.inside <= count);
            if (entry.inside == kInUse || (entry.inside == count && count != 0)) {
                return;
            }
            entry.inside = kInUse;
            if (count == 0) {
                return;
            }
            run.reached.push_back(entry.object);
            while (!run.reached.empty()) {
                ManagedObject* const object = run.reached.back();
                run.reached.pop_back();
                object->references(follow);
            }
        });
    }

    // Memory for all that follows is taken before anything is changed.
    size_t ended = 0;
    size_t kept = 0;
    for (size_t i = 0; i <= oldest; ++i) {
        for (const Entry& entry : g.all[i].entries) {
            entry.inside == kInUse ? ++kept : ++ended;
        }
    }
    std::vector<Ref<ManagedObject>> garbage;
    garbage.reserve(ended);
    const size_t next = std::min(oldest + 1, kGenerations - 1);
    Generation& target = g.all[next];
    const size_t needed = next == oldest ? kept : target.entries.size() + kept;
    if (needed > target.entries.capacity()) {
        target.entries.reserve(std::max(needed, 2 * target.entries.capacity()));
    }

    // What stays is one generation older from now on; the oldest generation closes its gaps.
    const auto sort_out = [&](Generation& from) {
        size_t position = 0;
        const size_t count = from.entries.size();
        for (size_t i = 0; i < count; ++i) {
            const Entry entry = from.entries[i];
            if (entry.inside != kInUse) {
                entry.object->m_tracking = ManagedObject::Tracking::kNotYet;
                garbage.emplace_back(entry.object);
                from.weight -= entry.weight;
            } else if (&from == &target) {
                place(*entry.object, next, position);
                from.entries[position++] = entry;
            } else {
                place(*entry.object, next, target.entries.size());
                target.entries.push_back(entry);
                target.weight += entry.weight;
            }
        }
        from.entries.resize(position);
        if (&from != &target) {
            from.weight = 0;
        }
    };
    for (size_t i = oldest + 1; i-- > 0;) {
        sort_out(g.all[i]);
    }
    if (oldest == kGenerations - 1) {
        g.weight_at_full = target.weight;
    }
    end_all(garbage);
    return ended;
} catch (const std::bad_alloc&) {
    return 0;
}

}  // namespace zelmor::embed
