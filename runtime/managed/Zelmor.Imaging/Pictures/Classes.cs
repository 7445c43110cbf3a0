// Objects live in the picture library, except those of the classes that have a hand-written part in this folder: streams,
// sources, and lists and dictionaries of anything, which hold .NET objects.
using Zelmor.Imaging;

[assembly: HasPictureLibrary]
