// "zelmor.pycore.BytesAsStream": an in-memory binary file.
//
// It has the members of io.BytesIO, and can be passed wherever the bridge takes a stream. It is not derived from
// io.IOBase: the bridge recognizes it by its own type. Python classes can derive from it.
#ifndef ZELMOR_SIBLINGS_PYCORE_BYTES_AS_STREAM_H
#define ZELMOR_SIBLINGS_PYCORE_BYTES_AS_STREAM_H

#include "pyshell/python.h"

namespace zelmor::siblings {

extern PyTypeObject bytes_as_stream_type;

// The type of the exporter that keeps the stream's memory in place while a view of `getbuffer()` exists. It has to be
// readied as well.
extern PyTypeObject bytes_as_stream_buffer_type;

}  // namespace zelmor::siblings

#endif  // ZELMOR_SIBLINGS_PYCORE_BYTES_AS_STREAM_H
