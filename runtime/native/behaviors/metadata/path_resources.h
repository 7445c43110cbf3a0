// TiffFrame.PathResources: the paths among the image resources of a page.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_PATH_RESOURCES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_PATH_RESOURCES_H

#include "runtime/native/behaviors/images/image_object.h"

namespace zelmor::embed {

// The image resources with the paths that the image shows in the place of those among them. Of an image without the
// property, or whose paths nobody changed, they stay the same bytes.
Bytes with_path_resources(const ImageObject& image, Bytes resources);

// Gives an image the list that a program set for another one, as a list of its own.
void carry_path_resources(const ImageObject& from, ImageObject& to);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_PATH_RESOURCES_H
