// The last step before an exception would leave an entry point: it becomes a Python error.
using System;
using System.Reflection;

namespace Zelmor.WrpGen.Core;

public static unsafe class Errors
{
    /// <summary>Reports an exception, and gives the result that an entry point then has.</summary>
    public static T? Report<T>(Exception exception)
    {
        Report(exception);
        return default;
    }

    /// <summary>The same for casts, which answer -1.</summary>
    public static int ReportFailedCast(Exception exception)
    {
        Report(exception);
        return -1;
    }

    public static void Report(Exception exception)
    {
        // The exceptions of the runtime's own machinery tell less than what they carry.
        while (exception is TypeInitializationException or TargetInvocationException &&
               exception.InnerException is { } inner)
        {
            exception = inner;
        }
        var module = Python.Module;
        // Before the hand-over there is nobody to tell; the zero result is all that the caller gets.
        if (exception is PythonErrorPendingException || module == null || module.Exception == null)
        {
            return;
        }
        module.Exception(Text(module, exception.GetType().Name), Text(module, exception.Message));
    }

    /// <summary>A text for a report; 0 where it could not be made, for which the receiver has words.</summary>
    private static nint Text(BridgeModule module, string text)
    {
        if (module.UnraisableStringBuilder == null)
        {
            return 0;
        }
        fixed (char* data = text)
        {
            return module.UnraisableStringBuilder(data, text.Length);
        }
    }
}
