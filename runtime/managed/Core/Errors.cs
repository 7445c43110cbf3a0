// The last step before an exception would leave an entry point: it becomes a Python error.
using System;
using System.Reflection;
using System.Text;

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
        module.Exception(Text(module, exception.GetType().Name), Text(module, Message(exception)));
    }

    /// <summary>The text of an exception. The caller knows a parameter that it names by its keyword in Python.</summary>
    private static string Message(Exception exception)
    {
        if (exception is not ArgumentException { ParamName: { Length: > 0 } name })
        {
            return exception.Message;
        }
        return exception.Message.Replace($"(Parameter '{name}')", $"(Parameter '{Keyword(name)}')");
    }

    private static string Keyword(string name)
    {
        var keyword = new StringBuilder(name.Length + 4);
        for (var i = 0; i < name.Length; i++)
        {
            if (char.IsAsciiLetterUpper(name[i]) && i > 0 && !char.IsAsciiLetterUpper(name[i - 1]))
            {
                keyword.Append('_');
            }
            keyword.Append(char.ToLowerInvariant(name[i]));
        }
        return keyword.ToString();
    }

    /// <summary>A text for a report; 0 where it could not be made, for which the receiver has words.</summary>
    private static nint Text(BridgeModule module, string text)
    {
        if (module.UnraisableStringBuilder == null)
        {
            return 0;
        }
        var whole = WithoutHalves(text);
        fixed (char* data = whole)
        {
            return module.UnraisableStringBuilder(data, whole.Length);
        }
    }

    /// <summary>The text with a replacement character for each half of a surrogate pair, which the receiver refuses.
    /// </summary>
    private static string WithoutHalves(string text)
    {
        var whole = new StringBuilder(text.Length);
        foreach (var rune in text.EnumerateRunes())
        {
            whole.Append(rune.ToString());
        }
        return whole.ToString();
    }
}
