"""Reads the contract of an interop assembly from its file and compares it with a catalogue; see docs/dotnet.md."""
