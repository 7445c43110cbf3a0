// The report of members that nothing does yet.
using System;

namespace Zelmor.Imaging;

internal static class Missing
{
    /// <summary>The exception for a member; the name is that of its type and its own.</summary>
    public static NotSupportedException Member(string name)
    {
        return new NotSupportedException($"{name} is not supported by this class library.");
    }
}
