// What masking options and their arguments say, checked against the image.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_MASKING_SETTINGS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_MASKING_SETTINGS_H

#include <vector>

#include "runtime/native/behaviors/drawing/shapes.h"
#include "runtime/native/behaviors/masking/segmentation.h"
#include "runtime/native/core/records.h"
#include "runtime/native/imagework/pixels/rows.h"

namespace zelmor::embed {

struct MaskingSettings {
    SegmentationMethod method = SegmentationMethod::kManual;
    RectangleValue area;  // inside of the image, never empty
    bool decompose = true;
    int32_t feathering = 0;
    bool find_strokes = false;     // before the cut
    bool publish_strokes = false;  // as the default strokes of the options
    std::vector<AssumedObject> assumed;
    MaskingHints hints;
    int32_t objects = 2;
    double precision = 1;
    int32_t iterations = 50;
    Ref<PathObject> mask;  // of a mask by hand
};

// ArgumentException and ArgumentOutOfRangeException name the option that does not fit.
MaskingSettings read_masking_settings(const Record& options, SizeValue image);
// The arguments of a run that improves an earlier one; those before stay.
void read_masking_arguments(const Record& arguments, MaskingSettings& settings);
// Checks that do not depend on the arguments: those which a session is loaded with.
void require_fitting(const MaskingSettings& settings);

// The area of the options; all of the image where they name none.
RectangleValue masking_area_of(const Record& options, SizeValue image);
int32_t feathering_of(const Record& options);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_MASKING_SETTINGS_H
