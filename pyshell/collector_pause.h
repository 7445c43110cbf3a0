// A pause of the garbage collector while a large module is built.
//
// Tens of thousands of objects come into being in an import, and hardly any of them is garbage; the collector would go
// through them again and again.
#ifndef ZELMOR_PYSHELL_COLLECTOR_PAUSE_H
#define ZELMOR_PYSHELL_COLLECTOR_PAUSE_H

#include "pyshell/python.h"

namespace zelmor {

// From construction to destruction the collector makes no run of its own accord. It is left as it was found, whatever
// is switched on or off in between by what the import runs. What it has to look at is not touched: every object stays
// in its generation, those of the program as well as those of the module.
class CollectorPause {
 public:
    CollectorPause() : m_was_enabled(PyGC_Disable()) {}
    ~CollectorPause() { (void)(m_was_enabled != 0 ? PyGC_Enable() : PyGC_Disable()); }
    CollectorPause(const CollectorPause&) = delete;
    CollectorPause& operator=(const CollectorPause&) = delete;

 private:
    const int m_was_enabled;
};

}  // namespace zelmor

#endif  // ZELMOR_PYSHELL_COLLECTOR_PAUSE_H
