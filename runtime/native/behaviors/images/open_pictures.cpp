// Before the runtime writes into a file, the images that are still decoded from it keep its old bytes.
#include "runtime/native/core/file_changes.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/open_files.h"

namespace zelmor::embed {

namespace {

const BeforeFileChange keeper([](const struct stat& file) {
    try {
        imagework::keep_bytes_of(imagework::FileIdentity(file));
    } catch (const imagework::PictureError& error) {
        throw ManagedException("IOException",
                               std::string("The file cannot be changed, since images that were loaded from it need its "
                                           "content: ") +
                                   error.what() + ".");
    }
});

}  // namespace

}  // namespace zelmor::embed
