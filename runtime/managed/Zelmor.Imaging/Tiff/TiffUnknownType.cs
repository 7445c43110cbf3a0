// The tag of a TIFF file whose type nobody knows: it keeps what the file says of it, and any value.
using Zelmor.Imaging.FileFormats.Tiff.Enums;
using Zelmor.Imaging.FileFormats.Tiff.FileManagement;

namespace Zelmor.Imaging.FileFormats.Tiff.TiffTagTypes;

public partial class TiffUnknownType
{
    [Implements("ctor_000_TiffUnknownType")]
    public TiffUnknownType(TiffStreamReader? stream, ushort tagType, ushort tagId, ulong count, ulong offsetOrValue)
    {
        Stream = stream;
        TagType = (TiffDataTypes)tagType;
        TagId = (TiffTags)tagId;
        Count = count;
        OffsetOrValue = offsetOrValue;
    }

    [Implements("get_Stream")]
    public virtual TiffStreamReader? Stream { get; }

    [Implements("get_TagType")]
    public override TiffDataTypes TagType { get; }

    [Implements("get_Count")]
    public new virtual ulong Count { get; }

    [Implements("get_OffsetOrValue")]
    public virtual ulong OffsetOrValue { get; }
}
