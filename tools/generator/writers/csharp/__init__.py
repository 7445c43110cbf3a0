"""The back end that writes C#: the class library and the interop assemblies of the .NET runtime."""
