// The registered behaviors and how they are found.
#include "runtime/native/core/entry.h"

#include <algorithm>
#include <cassert>
#include <exception>
#include <initializer_list>
#include <string>
#include <unordered_map>

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
        const std::shared_ptr<void> row(const_cast<void*>(known.behavior->row), [](void*) {});  // a row is static
        known.point.address =
            make_delegate(known.point.signature, known.name->type.assembly, known.behavior->handler, row);
    }
    return known.point;
}

namespace {

// A text or a byte array that is null. Whoever does not know the entry point reports it without the parameter's name.
class NullArgument final : public ManagedException {
 public:
    explicit NullArgument(const void* its_record)
        : ManagedException("ArgumentNullException", "Value cannot be null."), record(its_record) {}
    const void* record;
};

const EntryInfo* entry_of_delegate(const void* delegate) {
    for (const BehaviorTable* table = BehaviorTable::first(); table != nullptr; table = table->next()) {
        for (const Behavior& behavior : table->behaviors()) {
            if (behavior.point.address != delegate) {
                continue;
            }
            const EntryName& name = *behavior.names.front();
            const auto& entries = require_type(name.type.name).entries;
            const auto found = std::find_if(entries.begin(), entries.end(), [&](const EntryInfo& entry) {
                return std::string_view(entry.name) == name.name;
            });
            return found != entries.end() ? &*found : nullptr;
        }
    }
    return nullptr;
}

// The exception with the name of the parameter, where that is known.
ManagedException named(const NullArgument& null, const void* delegate, std::span<const void* const> arguments) {
    const EntryInfo* entry = entry_of_delegate(delegate);
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

}  // namespace

namespace detail {

void throw_null_argument(const void* record) {
    throw NullArgument(record);
}

void report_failed_call(const void* delegate, std::initializer_list<const void*> arguments) noexcept {
    try {
        try {
            throw;
        } catch (const NullArgument& null) {
            throw named(null, delegate, {arguments.begin(), arguments.size()});
        }
    } catch (...) {
        report_current_exception();
    }
}

}  // namespace detail

}  // namespace zelmor::embed
