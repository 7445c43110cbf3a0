// What has to be set before .NET reads it.
using System;
using System.Runtime.CompilerServices;

namespace Zelmor.WrpGen.Core;

internal static class Startup
{
    /// <summary>Texts and numbers have the same form everywhere, whatever the culture of the machine, so that its
    /// tables need not be loaded: a fifth of what .NET takes to start. A program says so in a file beside it; here there
    /// is no such file, and the variable DOTNET_SYSTEM_GLOBALIZATION_INVARIANT=0 still decides otherwise.</summary>
    [ModuleInitializer]
    internal static void UseInvariantCulture()
    {
        if (Environment.GetEnvironmentVariable("DOTNET_SYSTEM_GLOBALIZATION_INVARIANT") == null)
        {
            AppContext.SetSwitch("System.Globalization.Invariant", true);
        }
    }
}
