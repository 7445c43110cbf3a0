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
}
