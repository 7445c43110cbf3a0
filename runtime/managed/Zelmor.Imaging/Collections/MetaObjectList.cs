// Lists of the objects of a metafile.
using System.Collections;

namespace Zelmor.Imaging.FileFormats.Emf;

public partial class MetaObjectList
{
    [Implements("ctor_000_MetaObjectList")]
    public MetaObjectList(IList? list) : base(list)
    {
    }
}
