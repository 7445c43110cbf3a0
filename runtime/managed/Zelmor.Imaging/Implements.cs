// The mark of hand-written members.
using System;

namespace Zelmor.Imaging;

/// <summary>Marks a member that takes the place of the one that the generator would write. The name is that of the
/// member's entry point, such as "call_000_Crop"; a property has that of its getter.</summary>
[AttributeUsage(AttributeTargets.Method | AttributeTargets.Property | AttributeTargets.Constructor)]
internal sealed class ImplementsAttribute : Attribute
{
    public ImplementsAttribute(string entryPoint)
    {
        EntryPoint = entryPoint;
    }

    public string EntryPoint { get; }

    /// <summary>Whether the member uses Python files and collections among its arguments during the call alone, so that
    /// they are released at its end.</summary>
    public bool Lends { get; set; }
}
