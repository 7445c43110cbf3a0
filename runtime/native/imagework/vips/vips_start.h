// Starting the image library, once per process, in a form that suits a guest in someone else's program.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_VIPS_START_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_VIPS_START_H

namespace zelmor::imagework {

// Throws PictureError where the library cannot be started.
void start_vips();

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_VIPS_START_H
