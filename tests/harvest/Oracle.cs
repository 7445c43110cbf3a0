// Prints the types of an assembly with their members, as the framework's own reader of metadata finds them.
using System;
using System.Collections.Generic;
using System.Collections.Immutable;
using System.IO;
using System.Linq;
using System.Reflection;
using System.Reflection.Metadata;
using System.Reflection.PortableExecutable;

/// <summary>Prints signatures in the words of the tool under test.</summary>
internal sealed class Names : ISignatureTypeProvider<string, object?>
{
    public string GetPrimitiveType(PrimitiveTypeCode code) => $"System.{code}";
    public string GetSZArrayType(string element) => $"{element}[]";
    public string GetArrayType(string element, ArrayShape shape) => $"{element}[{new string(',', shape.Rank - 1)}]";
    public string GetByReferenceType(string element) => $"{element}&";
    public string GetPointerType(string element) => $"{element}*";
    public string GetGenericInstantiation(string type, ImmutableArray<string> arguments) =>
        $"{type}<{string.Join(",", arguments)}>";
    public string GetGenericTypeParameter(object? context, int index) => $"!{index}";
    public string GetGenericMethodParameter(object? context, int index) => $"!!{index}";
    public string GetModifiedType(string modifier, string unmodified, bool isRequired) => unmodified;
    public string GetPinnedType(string element) => element;

    public string GetFunctionPointerType(MethodSignature<string> signature)
    {
        string convention = signature.Header.CallingConvention switch
        {
            SignatureCallingConvention.Default => "", SignatureCallingConvention.CDecl => "cdecl ",
            SignatureCallingConvention.StdCall => "stdcall ", SignatureCallingConvention.ThisCall => "thiscall ",
            SignatureCallingConvention.FastCall => "fastcall ", SignatureCallingConvention.VarArgs => "vararg ",
            _ => "unmanaged "
        };
        return $"method {convention}{signature.ReturnType}({string.Join(",", signature.ParameterTypes)})";
    }

    public string GetTypeFromDefinition(MetadataReader reader, TypeDefinitionHandle handle, byte kind)
    {
        TypeDefinition type = reader.GetTypeDefinition(handle);
        string name = Join(reader.GetString(type.Namespace), reader.GetString(type.Name));
        TypeDefinitionHandle outer = type.GetDeclaringType();
        return outer.IsNil ? name : $"{GetTypeFromDefinition(reader, outer, 0)}+{name}";
    }

    public string GetTypeFromReference(MetadataReader reader, TypeReferenceHandle handle, byte kind)
    {
        TypeReference type = reader.GetTypeReference(handle);
        string name = Join(reader.GetString(type.Namespace), reader.GetString(type.Name));
        return type.ResolutionScope.Kind == HandleKind.TypeReference
            ? $"{GetTypeFromReference(reader, (TypeReferenceHandle)type.ResolutionScope, 0)}+{name}" : name;
    }

    public string GetTypeFromSpecification(MetadataReader reader, object? context, TypeSpecificationHandle handle,
        byte kind) => reader.GetTypeSpecification(handle).DecodeSignature(this, context);

    public static string Join(string space, string name) => space.Length == 0 ? name : $"{space}.{name}";
}

internal static class Oracle
{
    private static readonly Names s_names = new();

    private static string Type(MetadataReader reader, EntityHandle handle) => handle.Kind switch
    {
        HandleKind.TypeDefinition => s_names.GetTypeFromDefinition(reader, (TypeDefinitionHandle)handle, 0),
        HandleKind.TypeReference => s_names.GetTypeFromReference(reader, (TypeReferenceHandle)handle, 0),
        _ => s_names.GetTypeFromSpecification(reader, null, (TypeSpecificationHandle)handle, 0)
    };

    private static string Attributes(MetadataReader reader, CustomAttributeHandleCollection handles)
    {
        IEnumerable<string> names = handles.Select(handle =>
        {
            EntityHandle constructor = reader.GetCustomAttribute(handle).Constructor;
            if (constructor.Kind == HandleKind.MethodDefinition)
            {
                return Type(reader, reader.GetMethodDefinition((MethodDefinitionHandle)constructor).GetDeclaringType());
            }
            EntityHandle parent = reader.GetMemberReference((MemberReferenceHandle)constructor).Parent;
            return parent.Kind == HandleKind.TypeSpecification ? "" : Type(reader, parent);
        });
        return string.Join(",", names);
    }

    private static string Method(MetadataReader reader, MethodDefinitionHandle handle)
    {
        MethodDefinition method = reader.GetMethodDefinition(handle);
        MethodSignature<string> signature = method.DecodeSignature(s_names, null);
        string instance = signature.Header.IsInstance ? "instance " : "";
        string generic = signature.GenericParameterCount > 0 ? $"<{signature.GenericParameterCount}>" : "";
        string text = $"{instance}{signature.ReturnType}{generic}({string.Join(",", signature.ParameterTypes)})";
        string[] names = new string[signature.ParameterTypes.Length];
        Array.Fill(names, "");
        foreach (Parameter parameter in method.GetParameters().Select(reader.GetParameter))
        {
            if (parameter.SequenceNumber > 0)
            {
                names[parameter.SequenceNumber - 1] = reader.GetString(parameter.Name);
            }
        }
        bool isPublic = (method.Attributes & MethodAttributes.MemberAccessMask) == MethodAttributes.Public;
        bool isStatic = (method.Attributes & MethodAttributes.Static) != 0;
        return $"{reader.GetString(method.Name)} {text} {isPublic} {isStatic} ({string.Join(",", names)}) " +
            $"[{Attributes(reader, method.GetCustomAttributes())}]";
    }

    private static string Value(MetadataReader reader, FieldDefinition field)
    {
        ConstantHandle handle = field.GetDefaultValue();
        if (handle.IsNil || (field.Attributes & FieldAttributes.Literal) == 0)
        {
            return "None";
        }
        Constant constant = reader.GetConstant(handle);
        object? value = reader.GetBlobReader(constant.Value).ReadConstant(constant.TypeCode);
        return value switch
        {
            bool truth => truth ? "1" : "0", char letter => ((int)letter).ToString(),
            sbyte or byte or short or ushort or int or uint or long or ulong => value.ToString()!, _ => "None"
        };
    }

    public static void Main(string[] arguments)
    {
        using PEReader image = new(File.OpenRead(arguments[0]));
        MetadataReader reader = image.GetMetadataReader();
        using StreamWriter output = new(arguments[1]);
        output.WriteLine(reader.GetString(reader.GetAssemblyDefinition().Name));
        foreach (AssemblyReferenceHandle handle in reader.AssemblyReferences)
        {
            output.WriteLine($"reference {reader.GetString(reader.GetAssemblyReference(handle).Name)}");
        }
        foreach (TypeDefinitionHandle handle in reader.TypeDefinitions.Skip(1))
        {
            TypeDefinition type = reader.GetTypeDefinition(handle);
            string parent = type.BaseType.IsNil ? "None" : Type(reader, type.BaseType);
            output.WriteLine($"type {Type(reader, handle)} : {parent} " +
                $"[{Attributes(reader, type.GetCustomAttributes())}]");
            foreach (FieldDefinition field in type.GetFields().Select(reader.GetFieldDefinition))
            {
                bool isStatic = (field.Attributes & FieldAttributes.Static) != 0;
                output.WriteLine($"  field {reader.GetString(field.Name)} {field.DecodeSignature(s_names, null)} " +
                    $"{isStatic} {Value(reader, field)}");
            }
            foreach (MethodDefinitionHandle method in type.GetMethods())
            {
                output.WriteLine($"  method {Method(reader, method)}");
            }
            foreach (PropertyDefinition property in type.GetProperties().Select(reader.GetPropertyDefinition))
            {
                PropertyAccessors accessors = property.GetAccessors();
                string getter = accessors.Getter.IsNil ? "None" : Method(reader, accessors.Getter);
                string setter = accessors.Setter.IsNil ? "None" : Method(reader, accessors.Setter);
                output.WriteLine($"  property {reader.GetString(property.Name)} " +
                    $"{property.DecodeSignature(s_names, null).ReturnType} | {getter} | {setter}");
            }
        }
    }
}
