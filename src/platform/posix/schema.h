// How values are typed: by the attribute's definition in the directory's schema.
//
// The attributes that reports use are known without asking. Any other sends for the schema of the
// forest, which is read whole, once, and kept for the life of the process.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>

#include "platform/posix/ldap_connection.h"
#include "platform/result.h"
#include "platform/value.h"

namespace zorvan::platform::posix {

// Attribute names in lower case.
using SchemaTypes = std::unordered_map<std::string, AdsType>;

// The type of values of an attributeSyntax; the object class (oMObjectClass) tells names from names
// with something attached.
AdsType TypeOfSyntax(std::string_view attributeSyntax, std::span<const std::byte> omObjectClass);

// The type of a well-known attribute, nothing for any other. Names are compared ignoring case.
std::optional<AdsType> BuiltInType(std::string_view attribute);

// The built-in table, for comparison with a directory.
struct BuiltInAttribute {
  std::string_view name;
  AdsType type;
};
std::span<const BuiltInAttribute> BuiltInAttributes();

// Reads every attribute definition of the server's forest.
HResult ReadSchema(LdapConnection& connection, SchemaTypes& types);

// The type of an attribute (a name without options) that the server has returned. What neither the
// table nor the schema knows, and everything unknown while the schema cannot be read, is
// kProviderSpecific. Any thread may ask.
AdsType AttributeType(LdapConnection& connection, std::string_view attribute);

}  // namespace zorvan::platform::posix
