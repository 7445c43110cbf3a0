// Where a new image is written. The values of a source never change: the picture library gets a copy (PictureMirrors.cs).
namespace Zelmor.Imaging;

public partial class Source
{
}
