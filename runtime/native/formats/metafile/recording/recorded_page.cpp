// Pages of any image as metafiles.
#include "runtime/native/formats/metafile/recording/recorded_page.h"

#include <cmath>

#include "runtime/native/formats/metafile/metafile_drawing.h"
#include "runtime/native/formats/metafile/recording/emf_canvas.h"
#include "runtime/native/formats/metafile/recording/wmf_canvas.h"

namespace zelmor::embed::metafile {

namespace {

FileBytes file_of(MetafileDrawing& drawing, const Records& records) {
    for (const Ref<ManagedObject>& record : records) {
        drawing.records()->append(Value(record));
    }
    return drawing.file();
}

}  // namespace

FileBytes emf_of_page(const DrawnPage& page) {
    EmfCanvas canvas(page.width, page.height);
    page.draw(canvas);
    const auto drawing = MetafileDrawing::empty(RecordFamily::kEmf, page.width, page.height);
    return file_of(*drawing, canvas.records());
}

FileBytes wmf_of_page(const DrawnPage& page) {
    const int32_t inch = inch_for(page.width, page.height);
    const double units = inch / 96.0;
    const RectD window{0, 0, std::round(page.width * units), std::round(page.height * units)};
    WmfCanvas canvas(page.width, page.height, window, 0);
    canvas.add_start();
    page.draw(canvas);
    const auto drawing = MetafileDrawing::empty(RecordFamily::kWmf, page.width, page.height);
    drawing->set_window({window, double(inch)});
    return file_of(*drawing, canvas.records());
}

}  // namespace zelmor::embed::metafile
