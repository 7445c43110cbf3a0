// The lists that Python changes may stand for some of the picture library.
using System.Runtime.CompilerServices;
using Zelmor.WrpGen.Core;

namespace Zelmor.WrpGen.Interop;

internal static class ListChanges
{
    [ModuleInitializer]
    internal static void Register()
    {
        ListChange.Told = Zelmor.Imaging.PictureLists.Changed;
    }
}
