// Starting the image library, once per process, in a form that suits a guest in someone else's program.
#pragma once

namespace zelmor::imagework {

// Throws PictureError where the library cannot be started.
void start_vips();

}  // namespace zelmor::imagework
