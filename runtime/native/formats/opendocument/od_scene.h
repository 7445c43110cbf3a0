// Drawing the three-dimensional scenes of OpenDocument pages: cubes, spheres, extruded and rotated outlines.
//
// A scene becomes flat faces, each with the color that the lights give it, drawn from the farthest to the nearest.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_SCENE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_SCENE_H

#include "runtime/native/drawwork/geometry.h"
#include "runtime/native/formats/opendocument/od_document.h"
#include "runtime/native/formats/opendocument/od_drawing.h"
#include "runtime/native/formats/opendocument/od_painter.h"

namespace zelmor::embed {

// Draws a dr3d:scene. `placing` maps the page or group to the canvas. PictureError where it has too many faces.
void draw_od_scene(OdCanvas& target, const OdNode& scene, OdScope scope, const OdShapePlace& place,
                   const drawwork::Affine& placing);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_SCENE_H
