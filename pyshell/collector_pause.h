// A pause of the garbage collector while a large module is built.
//
// An import makes tens of thousands of objects, hardly any of which is garbage. The collector would traverse them again
// and again.
#ifndef ZELMOR_PYSHELL_COLLECTOR_PAUSE_H
#define ZELMOR_PYSHELL_COLLECTOR_PAUSE_H

#include "pyshell/python.h"

namespace zelmor {

// From construction to destruction the collector does not run by itself. Afterwards it is enabled or disabled as it was
// before, even if code that the import runs has switched it. No object is moved to another generation.
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
