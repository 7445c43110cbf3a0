// What identifies a tag of a TIFF file.
using Zelmor.Imaging.FileFormats.Tiff.Enums;

namespace Zelmor.Imaging.FileFormats.Tiff;

public partial class TiffDataType
{
    [Implements("get_TagId")]
    public virtual TiffTags TagId { get; protected init; }

    [Implements("get_Id")]
    public virtual int Id => (int)TagId;
}
