// Loading and saving that EMF and WMF have in common.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_METAFILE_MEMBERS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_METAFILE_MEMBERS_H

#include <span>
#include <string>

#include "runtime/native/behaviors/vector/drawn_page.h"
#include "runtime/native/formats/metafile/metafile_file.h"
#include "runtime/native/formats/metafile/record_tables.h"
#include "runtime/native/imagework/pixels/byte_sink.h"
#include "runtime/native/imagework/pixels/data_source.h"

namespace zelmor::embed::metafile {

Ref<ImageBase> load_metafile(RecordFamily family, const imagework::SharedSource& file, FileFormat format);

// The file of the page: that of its records where it is a metafile of the family in its own size, or else a recording
// of the page. `options` are of MetafileOptions, or null: then the extension tells whether the file is compressed.
void write_metafile(RecordFamily family, std::span<const DrawnPage> pages, const Record* options,
                    const std::string& extension, imagework::ByteSink& out);

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_METAFILE_MEMBERS_H
