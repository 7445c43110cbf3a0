// "zelmor.pycore.BytesAsStream": an in-memory binary file.
//
// It does what io.BytesIO does, by the same names, and can be passed wherever the bridge takes a stream. It is a type
// of its own and no io.IOBase: the bridge recognises it by this type. Python classes can derive from it.
#pragma once

#include "pyshell/python.h"

namespace zelmor::siblings {

extern PyTypeObject bytes_as_stream_type;

// What keeps the stream's memory in place while a view of `getbuffer()` is out; has to be ready as well.
extern PyTypeObject bytes_as_stream_buffer_type;

}  // namespace zelmor::siblings
