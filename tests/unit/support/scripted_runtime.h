// A scripted runtime in place of the real one: answers every lookup of an entry point, leaves out what a test wants
// left out, and keeps a journal of lookups and of calls.
#ifndef ZELMOR_TESTS_UNIT_SUPPORT_SCRIPTED_RUNTIME_H
#define ZELMOR_TESTS_UNIT_SUPPORT_SCRIPTED_RUNTIME_H

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

struct ScriptedRuntime {
    // Script.
    std::map<std::string, int> missing;  // status of the lookup, by method name
    std::function<void()> during_init_services;
    std::function<void()> during_dispose;
    std::function<void*(const std::string& type, const std::string& method)> other_types;  // behind the two services
    std::function<void*(const std::string& type, const std::string& method)> services;     // in place of the two

    // Journal.
    std::vector<std::string> started_with;  // the arguments of the environment, at its start
    std::vector<std::string> lookups;       // "<assembly>|<type>|<method>"
    std::vector<std::string> calls;         // by method name
    std::map<std::string, void*> received;  // the pointer argument of the last call, by method name
    int received_count = 0;                 // the count of FreePendingArgs

    // An empty script and journal; `services` stay, since the two service classes are bound once for a process.
    void renew() {
        auto kept = std::move(services);
        *this = {};
        services = std::move(kept);
    }
};

// One for the process, renewed by the fixture for each test.
extern ScriptedRuntime runtime;

// The method names of the journal of lookups, of one managed type.
std::vector<std::string> methods_looked_up(const std::string& type);

#endif  // ZELMOR_TESTS_UNIT_SUPPORT_SCRIPTED_RUNTIME_H
