// Objects that are released by their owner.
using System;

namespace Zelmor.Imaging;

public partial class DisposableObject
{
    private static readonly PictureEntry s_disposed = new("Zelmor.Imaging.DisposableObject", "get_Disposed");

    private bool _isDisposed;

    [Implements("get_Disposed")]
    public bool Disposed => this is IPictureObject ? Pictures.Get<bool>(this, s_disposed, []) : _isDisposed;

    [Implements("Dispose")]
    public void Dispose()
    {
        if (this is IPictureObject picture)
        {
            Pictures.Dispose(picture);
        }
        else if (!_isDisposed)
        {
            _isDisposed = true;
            ReleaseManagedResources();
        }
        GC.SuppressFinalize(this);
    }

    /// <summary>Releases what the object holds; called once.</summary>
    protected virtual void ReleaseManagedResources()
    {
    }
}
