// Values on their way between Java and the library. Text is UTF-16 on both sides and is never
// converted.
//
// A function that finds an exception pending, or meets one, returns what it has so far (null,
// absent, an empty list); the caller sees Failed().
#pragma once

#include <jni.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "bridge/java_call.h"
#include "bridge/local_reference.h"
#include "call/native_handler.h"
#include "directory/handler_initialization.h"

namespace zorvan::bridge {

// Null only when an exception is pending.
LocalRef<jstring> NewJavaString(JavaCall& java, std::u16string_view text);
LocalRef<jstring> NewJavaString(JavaCall& java, std::string_view ascii);

// Reads a String in full, straight into the text, so that a password leaves no second copy. A null
// String leaves it untouched.
void CopyJavaString(JavaCall& java, jstring value, std::optional<std::u16string>& text);
std::optional<std::u16string> CopyJavaString(JavaCall& java, jstring value);

// The texts of an ArrayList of String. Elements that are null or no String are left out, each with
// a log line; name is what the list is called there.
std::vector<std::u16string> ReadStringList(JavaCall& java, call::NativeHandler& handler,
                                           jobject list, std::string_view name);

// The attribute names of a search. A null list is an empty one, with a log line.
std::vector<std::u16string> StringListToArray(JavaCall& java, call::NativeHandler& handler,
                                              jobject list);

// Reads the domain settings key by key. A missing key is absent; so is a value of another class
// than the key's, which is logged as a failure because somebody meant something by it. An optional
// key of another class also fails the call. The password may be a char[].
void ReadDomainProperties(JavaCall& java, call::NativeHandler& handler, jobject settings,
                          directory::DomainProperties& properties);

}  // namespace zorvan::bridge
