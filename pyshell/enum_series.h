// A series of enumerations that one import makes: quicker than one by one, and no different.
//
// `enum.IntEnum(name, members)` is a function in Python that works out for each class what is the same for all: how a
// member is created, and which methods are taken from where. In a series the interpreter makes the first class so. That
// class is the pattern of the others: the same entries in the same order, around names and members of their own.
#ifndef ZELMOR_PYSHELL_ENUM_SERIES_H
#define ZELMOR_PYSHELL_ENUM_SERIES_H

#include "pyshell/py_ref.h"
#include "pyshell/python.h"

namespace zelmor {

// While one lives, every class that `make_enum_class` makes belongs to it; there is one at a time.
class EnumSeries {
 public:
    EnumSeries();
    ~EnumSeries();
    EnumSeries(const EnumSeries&) = delete;
    EnumSeries& operator=(const EnumSeries&) = delete;

    // The series under way, or null.
    static EnumSeries* current();

    // The class that `IntEnum(name, members)` makes, or `IntFlag(name, members)`: a new reference, or null with an
    // exception set. `members` is a tuple of pairs of a text and an integer. The interpreter's function makes all flags
    // and whatever the pattern does not fit.
    PyObject* make(bool flags, PyObject* name, PyObject* members);

 private:
    bool fits_pattern(PyObject* members) const;
    bool take_pattern(PyObject* made);
    PyObject* make_by_pattern(PyObject* module, PyObject* name, PyObject* members) const;

    PyRef m_int_enum;  // the two bases, once they were needed
    PyRef m_int_flag;
    bool m_pattern_sought = false;  // a class was looked at; if it is no pattern for others, the next two stay empty
    PyRef m_head;                   // dictionary: the entries before the members
    PyRef m_tail;                   // dictionary: the attributes that are set behind the members
};

}  // namespace zelmor

#endif  // ZELMOR_PYSHELL_ENUM_SERIES_H
