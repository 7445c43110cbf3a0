// Objects that are released by their owner.
using System;

namespace Zelmor.Imaging;

public partial class DisposableObject
{
    [Implements("get_Disposed")]
    public bool Disposed { get; private set; }

    [Implements("Dispose")]
    public void Dispose()
    {
        if (!Disposed)
        {
            Disposed = true;
            ReleaseManagedResources();
        }
        GC.SuppressFinalize(this);
    }

    /// <summary>Releases what the object holds; called once.</summary>
    protected virtual void ReleaseManagedResources()
    {
    }
}
