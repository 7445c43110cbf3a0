// "zelmor.pycore.BytesAsStream": an in-memory binary file.
//
// It does what io.BytesIO does, by the same names, and can be passed wherever the bridge takes a stream. It is a type
// of its own and no io.IOBase: the bridge recognizes it by this type. Python classes can derive from it.
#ifndef ZELMOR_SIBLINGS_PYCORE_BYTES_AS_STREAM_H
#define ZELMOR_SIBLINGS_PYCORE_BYTES_AS_STREAM_H

#include "pyshell/python.h"

namespace zelmor::siblings {

extern PyTypeObject bytes_as_stream_type;

// What keeps the stream's memory in place while a view of `getbuffer()` is out; has to be ready as well.
extern PyTypeObject bytes_as_stream_buffer_type;

}  // namespace zelmor::siblings

#endif  // ZELMOR_SIBLINGS_PYCORE_BYTES_AS_STREAM_H
