// DjVu in the API: its classes. The API has no save options for DjVu.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Djvu.h"
#include "runtime/native/behaviors/images/format_members.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

namespace classes = api::FileFormats::Djvu;

constexpr FormatClasses kClasses[] = {
    {FileFormat::kDjvu, Format::kDjvu, "Djvu", classes::DjvuImage::kType, nullptr, &classes::DjvuPage::kType, false},
};

}  // namespace

extern const FormatMembers kDjvuMembers;
const FormatMembers kDjvuMembers{
    .format = Format::kDjvu,
    .classes = kClasses,
    .has_pages = true,
};

}  // namespace zelmor::embed
