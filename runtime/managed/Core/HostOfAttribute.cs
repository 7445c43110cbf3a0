// The mark of the static classes that Python looks entry points up in.
using System;

namespace Zelmor.WrpGen.Core;

/// <summary>Names the type that a host is for; tools that read the assembly need not know how hosts are named.</summary>
[AttributeUsage(AttributeTargets.Class, Inherited = false)]
public sealed class HostOfAttribute : Attribute
{
    public HostOfAttribute(Type type)
    {
        Type = type;
    }

    public Type Type { get; }
}
