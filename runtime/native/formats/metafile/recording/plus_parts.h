// Recording behind records of EMF+.
//
// A reader of EMF+ plays records of EMF only where EMF+ hands over to them, with EmfPlusGetDc, and up to the next
// record of EMF+. The last of these is EmfPlusEndOfFile.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORDING_PLUS_PARTS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORDING_PLUS_PARTS_H

#include "runtime/native/formats/metafile/player/play.h"

namespace zelmor::embed::metafile {

// What stands before and behind new records of EMF, so that they are drawn with the state that a file begins with.
struct RecordingParts {
    Records before;  // those of the file, without its header and its end
    Records after;
};

// The parts for a file of these records, which are left as they are.
RecordingParts recording_parts(Records records);

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORDING_PLUS_PARTS_H
