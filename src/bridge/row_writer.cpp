#include "bridge/row_writer.h"

#include <array>
#include <new>

#include "bridge/marshalling.h"

namespace zorvan::bridge {
namespace {

using call::Row;
using Kind = Row::TokenKind;

// Local references that one row needs at a time besides the keys: the row, and a list or row with
// its value on each level.
constexpr jint kReferencesOfARow = 16;

bool IsEnd(Kind kind) { return kind == Kind::kListEnd || kind == Kind::kRowEnd; }
bool IsBegin(Kind kind) { return kind == Kind::kListBegin || kind == Kind::kRowBegin; }

// The number of elements of the list whose first token stands at position.
jint CountElements(const std::vector<Row::Token>& tokens, std::size_t position) {
  jint count = 0;
  int depth = 0;
  for (; position < tokens.size(); ++position) {
    const Kind kind = tokens[position].kind;
    if (IsEnd(kind) && depth-- == 0) break;
    if (IsEnd(kind)) continue;
    if (depth == 0) ++count;
    if (IsBegin(kind)) ++depth;
  }
  return count;
}

}  // namespace

LocalRef<jobject> RowWriter::ToProperties(const Row& row) {
  LocalRef<jobject> properties = NewProperties();
  std::size_t position = 0;
  if (properties) FillProperties(row, position, properties.get());
  if (java_.Failed()) return {java_.env(), nullptr};
  return properties;
}

LocalRef<jobject> RowWriter::NewProperties() {
  JNIEnv* env = java_.env();
  const JavaClassCache& classes = java_.classes();
  if (java_.Failed()) return {env, nullptr};
  LocalRef<jobject> created(
      env, env->NewObjectA(classes.propertiesClass, classes.propertiesConstructor, nullptr));
  java_.Check();
  return created;
}

LocalRef<jobject> RowWriter::NewList(const Row& row, std::size_t position) {
  JNIEnv* env = java_.env();
  const JavaClassCache& classes = java_.classes();
  jvalue capacity;
  capacity.i = CountElements(row.tokens(), position);
  LocalRef<jobject> created(
      env, env->NewObjectA(classes.arrayListClass, classes.arrayListSizedConstructor, &capacity));
  java_.Check();
  return created;
}

void RowWriter::FillProperties(const Row& row, std::size_t& position, jobject properties) {
  JNIEnv* env = java_.env();
  const std::vector<Row::Token>& tokens = row.tokens();
  while (position < tokens.size() && !java_.Failed()) {
    if (IsEnd(tokens[position].kind)) {
      ++position;
      return;
    }
    std::array<jvalue, 2> arguments{};
    arguments[0].l = KeyString(tokens[position].key);
    const LocalRef<jobject> value = ReadValue(row, position);
    if (java_.Failed()) return;
    arguments[1].l = value.get();
    const LocalRef<jobject> replaced(
        env, env->CallObjectMethodA(properties, java_.classes().propertiesPut, arguments.data()));
    java_.Check();
  }
}

LocalRef<jobject> RowWriter::ReadList(const Row& row, std::size_t& position) {
  JNIEnv* env = java_.env();
  const std::vector<Row::Token>& tokens = row.tokens();
  LocalRef<jobject> list = NewList(row, position);
  while (position < tokens.size() && !java_.Failed()) {
    if (IsEnd(tokens[position].kind)) {
      ++position;
      break;
    }
    const LocalRef<jobject> element = ReadValue(row, position);
    if (java_.Failed()) break;
    jvalue argument;
    argument.l = element.get();
    env->CallBooleanMethodA(list.get(), java_.classes().arrayListAdd, &argument);
    java_.Check();
  }
  return list;
}

LocalRef<jobject> RowWriter::ReadValue(const Row& row, std::size_t& position) {
  const Row::Token& token = row.tokens()[position++];
  JNIEnv* env = java_.env();
  if (java_.Failed()) return {env, nullptr};
  switch (token.kind) {
    case Kind::kListBegin:
      return ReadList(row, position);
    case Kind::kRowBegin: {
      LocalRef<jobject> nested = NewProperties();
      if (nested) FillProperties(row, position, nested.get());
      return nested;
    }
    default: {
      const std::u16string_view text = row.TextOf(token);
      LocalRef<jobject> string(env, env->NewString(reinterpret_cast<const jchar*>(text.data()),
                                                   static_cast<jsize>(text.size())));
      if (!string) java_.Check();
      return string;
    }
  }
}

void RowWriter::MakeRoomForKeys() {
  const jint references = static_cast<jint>(keys_.size()) + kReferencesOfARow;
  if (java_.env()->EnsureLocalCapacity(references) != JNI_OK) {
    java_.Check();
    throw std::bad_alloc();
  }
  keyStrings_.resize(keys_.size(), nullptr);
}

jstring RowWriter::KeyString(call::KeyId key) {
  if (key < keyStrings_.size() && keyStrings_[key] != nullptr) return keyStrings_[key];
  JNIEnv* env = java_.env();
  if (java_.Failed()) return nullptr;
  if (key >= keyStrings_.size()) MakeRoomForKeys();
  const std::u16string_view name = keys_.NameOf(key);
  keyStrings_[key] =
      env->NewString(reinterpret_cast<const jchar*>(name.data()), static_cast<jsize>(name.size()));
  if (keyStrings_[key] == nullptr) java_.Check();
  return keyStrings_[key];
}

}  // namespace zorvan::bridge
