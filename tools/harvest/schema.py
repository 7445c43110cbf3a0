"""The tables of the metadata: their numbers and columns, as partition II of the CLI's standard has them.

A column is a width in bytes, a heap, the rows of one table, or a coded index: the rows of several tables, with a tag in
the lowest bits that says of which.
"""

from __future__ import annotations

#: The names of the tables; the position is the number.
TABLES = (
    "Module", "TypeRef", "TypeDef", "FieldPtr", "Field", "MethodPtr", "MethodDef", "ParamPtr", "Param",
    "InterfaceImpl", "MemberRef", "Constant", "CustomAttribute", "FieldMarshal", "DeclSecurity", "ClassLayout",
    "FieldLayout", "StandAloneSig", "EventMap", "EventPtr", "Event", "PropertyMap", "PropertyPtr", "Property",
    "MethodSemantics", "MethodImpl", "ModuleRef", "TypeSpec", "ImplMap", "FieldRVA", "EncLog", "EncMap", "Assembly",
    "AssemblyProcessor", "AssemblyOS", "AssemblyRef", "AssemblyRefProcessor", "AssemblyRefOS", "File", "ExportedType",
    "ManifestResource", "NestedClass", "GenericParam", "MethodSpec", "GenericParamConstraint")

#: The tables of each coded index, by tag; an empty name is a tag without a table.
CODED = {
    "TypeDefOrRef": ("TypeDef", "TypeRef", "TypeSpec"),
    "HasConstant": ("Field", "Param", "Property"),
    "HasCustomAttribute": (
        "MethodDef", "Field", "TypeRef", "TypeDef", "Param", "InterfaceImpl", "MemberRef", "Module", "DeclSecurity",
        "Property", "Event", "StandAloneSig", "ModuleRef", "TypeSpec", "Assembly", "AssemblyRef", "File",
        "ExportedType", "ManifestResource", "GenericParam", "GenericParamConstraint", "MethodSpec"),
    "HasFieldMarshal": ("Field", "Param"),
    "HasDeclSecurity": ("TypeDef", "MethodDef", "Assembly"),
    "MemberRefParent": ("TypeDef", "TypeRef", "ModuleRef", "MethodDef", "TypeSpec"),
    "HasSemantics": ("Event", "Property"),
    "MethodDefOrRef": ("MethodDef", "MemberRef"),
    "MemberForwarded": ("Field", "MethodDef"),
    "Implementation": ("File", "AssemblyRef", "ExportedType"),
    "CustomAttributeType": ("", "", "MethodDef", "MemberRef", ""),
    "ResolutionScope": ("Module", "ModuleRef", "AssemblyRef", "TypeRef"),
    "TypeOrMethodDef": ("TypeDef", "MethodDef"),
}

#: The columns of each table: a name, and a width, `string`, `guid`, `blob`, a table or a coded index.
COLUMNS: dict[str, tuple[tuple[str, int | str], ...]] = {
    "Module": (("generation", 2), ("name", "string"), ("mvid", "guid"), ("enc_id", "guid"), ("enc_base", "guid")),
    "TypeRef": (("scope", "ResolutionScope"), ("name", "string"), ("namespace", "string")),
    "TypeDef": (("flags", 4), ("name", "string"), ("namespace", "string"), ("extends", "TypeDefOrRef"),
                ("fields", "Field"), ("methods", "MethodDef")),
    "FieldPtr": (("field", "Field"),),
    "Field": (("flags", 2), ("name", "string"), ("signature", "blob")),
    "MethodPtr": (("method", "MethodDef"),),
    "MethodDef": (("rva", 4), ("impl_flags", 2), ("flags", 2), ("name", "string"), ("signature", "blob"),
                  ("params", "Param")),
    "ParamPtr": (("param", "Param"),),
    "Param": (("flags", 2), ("sequence", 2), ("name", "string")),
    "InterfaceImpl": (("type", "TypeDef"), ("interface", "TypeDefOrRef")),
    "MemberRef": (("parent", "MemberRefParent"), ("name", "string"), ("signature", "blob")),
    "Constant": (("type", 1), ("padding", 1), ("parent", "HasConstant"), ("value", "blob")),
    "CustomAttribute": (("parent", "HasCustomAttribute"), ("type", "CustomAttributeType"), ("value", "blob")),
    "FieldMarshal": (("parent", "HasFieldMarshal"), ("native", "blob")),
    "DeclSecurity": (("action", 2), ("parent", "HasDeclSecurity"), ("permissions", "blob")),
    "ClassLayout": (("packing", 2), ("size", 4), ("parent", "TypeDef")),
    "FieldLayout": (("offset", 4), ("field", "Field")),
    "StandAloneSig": (("signature", "blob"),),
    "EventMap": (("parent", "TypeDef"), ("events", "Event")),
    "EventPtr": (("event", "Event"),),
    "Event": (("flags", 2), ("name", "string"), ("type", "TypeDefOrRef")),
    "PropertyMap": (("parent", "TypeDef"), ("properties", "Property")),
    "PropertyPtr": (("property", "Property"),),
    "Property": (("flags", 2), ("name", "string"), ("signature", "blob")),
    "MethodSemantics": (("semantics", 2), ("method", "MethodDef"), ("association", "HasSemantics")),
    "MethodImpl": (("type", "TypeDef"), ("body", "MethodDefOrRef"), ("declaration", "MethodDefOrRef")),
    "ModuleRef": (("name", "string"),),
    "TypeSpec": (("signature", "blob"),),
    "ImplMap": (("flags", 2), ("member", "MemberForwarded"), ("name", "string"), ("scope", "ModuleRef")),
    "FieldRVA": (("rva", 4), ("field", "Field")),
    "EncLog": (("token", 4), ("operation", 4)),
    "EncMap": (("token", 4),),
    "Assembly": (("hash", 4), ("major", 2), ("minor", 2), ("build", 2), ("revision", 2), ("flags", 4),
                 ("key", "blob"), ("name", "string"), ("culture", "string")),
    "AssemblyProcessor": (("processor", 4),),
    "AssemblyOS": (("platform", 4), ("major", 4), ("minor", 4)),
    "AssemblyRef": (("major", 2), ("minor", 2), ("build", 2), ("revision", 2), ("flags", 4), ("key", "blob"),
                    ("name", "string"), ("culture", "string"), ("hash", "blob")),
    "AssemblyRefProcessor": (("processor", 4), ("assembly", "AssemblyRef")),
    "AssemblyRefOS": (("platform", 4), ("major", 4), ("minor", 4), ("assembly", "AssemblyRef")),
    "File": (("flags", 4), ("name", "string"), ("hash", "blob")),
    "ExportedType": (("flags", 4), ("typedef", 4), ("name", "string"), ("namespace", "string"),
                     ("implementation", "Implementation")),
    "ManifestResource": (("offset", 4), ("flags", 4), ("name", "string"), ("implementation", "Implementation")),
    "NestedClass": (("nested", "TypeDef"), ("enclosing", "TypeDef")),
    "GenericParam": (("number", 2), ("flags", 2), ("owner", "TypeOrMethodDef"), ("name", "string")),
    "MethodSpec": (("method", "MethodDefOrRef"), ("instantiation", "blob")),
    "GenericParamConstraint": (("owner", "GenericParam"), ("constraint", "TypeDefOrRef")),
}
