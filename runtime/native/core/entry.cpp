// The registered behaviors and how they are found.
#include "runtime/native/core/entry.h"

#include <algorithm>
#include <cassert>
#include <exception>
#include <initializer_list>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/type_system.h"
#include "runtime/native/delegates/closure.h"

namespace zelmor::embed {

namespace {

const BehaviorTable*& chain() {
    static const BehaviorTable* first = nullptr;  // complete once the library is loaded
    return first;
}

std::string key_of(const char* type, const char* entry) {
    return std::string(type) + '\n' + entry;
}

}  // namespace

BehaviorTable::BehaviorTable(std::initializer_list<BehaviorRow> rows)
    : BehaviorTable(std::span(rows.begin(), rows.size())) {}

BehaviorTable::BehaviorTable(std::span<const BehaviorRow> rows) : m_next(chain()) {
    m_behaviors.reserve(rows.size());
    for (const BehaviorRow& row : rows) {
        m_behaviors.push_back(row.first);
        if (!row.second.names.empty()) {
            m_behaviors.push_back(row.second);
        }
    }
    chain() = this;
}

BehaviorTable::~BehaviorTable() = default;

const BehaviorTable* BehaviorTable::first() {
    return chain();
}

namespace {

// A text or a byte array that is null. Whoever does not know the entry point reports it without the parameter's name.
class NullArgument final : public ManagedException {
 public:
    explicit NullArgument(const void* its_record)
        : ManagedException("ArgumentNullException", "Value cannot be null."), record(its_record) {}
    const void* record;
};

const EntryInfo* entry_of(const EntryName& name) {
    const auto& entries = require_type(name.type.name).entries;
    const auto found = std::find_if(entries.begin(), entries.end(),
                                    [&](const EntryInfo& entry) { return std::string_view(entry.name) == name.name; });
    return found != entries.end() ? &*found : nullptr;
}

const EntryInfo* entry_of_delegate(const void* delegate) {
    for (const BehaviorTable* table = BehaviorTable::first(); table != nullptr; table = table->next()) {
        for (const Behavior& behavior : table->behaviors()) {
            if (behavior.point.address == delegate) {
                return entry_of(*behavior.names.front());
            }
        }
    }
    return nullptr;
}

// The exception with the name of the parameter, where that is known.
ManagedException named(const NullArgument& null, const EntryInfo* entry, std::span<const void* const> arguments) {
    const auto at = static_cast<size_t>(std::find(arguments.begin(), arguments.end(), null.record) - arguments.begin());
    if (entry == nullptr || at >= arguments.size() || entry->params.size() > arguments.size()) {
        return null;
    }
    const size_t before = arguments.size() - entry->params.size();  // the instance
    if (at < before) {
        return null;
    }
    const std::string name = entry->params[at - before].name;
    return {null.name(), null.detail() + " (Parameter '" + name + "')"};
}

// An entry point whose behavior works on a row.
struct RowEntry {
    const Behavior* behavior;
    const EntryName* name;
};

// Of the instance and the parameters, without a place for the result.
size_t argument_count(const EntryInfo* info) {
    if (info == nullptr) {
        return 0;
    }
    const bool has_instance =
        info->role == EntryRole::kCall || info->role == EntryRole::kGet || info->role == EntryRole::kSet;
    return info->params.size() + (has_instance ? 1 : 0);
}

void run_on_row(void* context, CallFrame& frame) {
    const auto& entry = *static_cast<const RowEntry*>(context);
    try {
        entry.behavior->handler(const_cast<void*>(entry.behavior->row), frame);
    } catch (const NullArgument& null) {
        const EntryInfo* info = entry_of(*entry.name);
        std::vector<const void*> arguments;
        for (size_t i = 0; i < argument_count(info); i++) {
            const char code = frame.signature()[i + 1];
            const bool may_be_null =
                code == detail::Arg<std::string>::code || code == detail::Arg<std::span<const std::byte>>::code;
            arguments.push_back(may_be_null ? frame.argument<const void*>(i) : nullptr);
        }
        throw named(null, info, arguments);
    }
}

}  // namespace

EntryPoint find_behavior(const char* type_full_name, const char* entry_name) {
    // The delegate of a row is made at the first request. All requests hold the interpreter lock, and making a delegate
    // calls no Python code that could release it.
    struct Known {
        const Behavior* behavior;
        const EntryName* name;
        EntryPoint point;
    };
    using Index = std::unordered_map<std::string, Known>;
    // Entries are only added when it is made.
    static Index& index = *new Index([] {
        Index all;
        for (const BehaviorTable* table = BehaviorTable::first(); table != nullptr; table = table->next()) {
            for (const Behavior& behavior : table->behaviors()) {
                for (const EntryName* name : behavior.names) {
                    all.emplace(key_of(name->type.name, name->name), Known{&behavior, name, behavior.point});
                }
            }
        }
        return all;
    }());
    const auto found = index.find(key_of(type_full_name, entry_name));
    if (found == index.end()) {
        return {nullptr, nullptr};
    }
    Known& known = found->second;
    if (known.point.address == nullptr) {
        assert(known.behavior->handler != nullptr && known.behavior->row != nullptr);
        known.point.address = make_delegate(known.point.signature, known.name->type.assembly, &run_on_row,
                                            std::make_shared<RowEntry>(RowEntry{known.behavior, known.name}));
    }
    return known.point;
}

namespace detail {

void throw_null_argument(const void* record) {
    throw NullArgument(record);
}

void report_failed_call(const void* delegate, std::initializer_list<const void*> arguments) noexcept {
    try {
        try {
            throw;
        } catch (const NullArgument& null) {
            throw named(null, entry_of_delegate(delegate), {arguments.begin(), arguments.size()});
        }
    } catch (...) {
        report_current_exception();
    }
}

}  // namespace detail

}  // namespace zelmor::embed
