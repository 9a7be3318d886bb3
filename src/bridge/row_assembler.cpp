#include "bridge/row_assembler.h"

#include <algorithm>
#include <array>

#include "bridge/marshalling.h"

namespace zorvan::bridge {
namespace {

using call::Row;
using Kind = Row::TokenKind;

// How the structure array says what a value is; RowAssembler.java has the same numbers.
constexpr jint kText = 0;
constexpr jint kList = 1;
constexpr jint kRow = 2;

constexpr std::size_t kSmallestArray = 1024;

}  // namespace

RowAssembler::RowAssembler(JavaCall& java, const call::KeyTable& keys)
    : java_(java),
      keys_(keys),
      keyArray_(java.env(), nullptr),
      textArray_(java.env(), nullptr),
      structureArray_(java.env(), nullptr) {}

bool RowAssembler::IsThere() const { return java_.classes().rowAssemblerAssemble != nullptr; }

LocalRef<jobject> RowAssembler::ToProperties(const Row& row) {
  JNIEnv* env = java_.env();
  if (java_.Failed()) return {env, nullptr};
  WriteStructure(row);
  if (!PassKeys() || !PassTexts(row) || !PassStructure()) return {env, nullptr};
  std::array<jvalue, 3> arguments{};
  arguments[0].l = keyArray_.get();
  arguments[1].l = textArray_.get();
  arguments[2].l = structureArray_.get();
  LocalRef<jobject> properties(
      env, env->CallStaticObjectMethodA(java_.classes().rowAssemblerClass,
                                        java_.classes().rowAssemblerAssemble, arguments.data()));
  java_.Check();
  return properties;
}

void RowAssembler::WriteStructure(const Row& row) {
  structure_.assign(1, 0);
  openCounts_.assign(1, 0);
  for (const Row::Token& token : row.tokens()) {
    if (token.kind == Kind::kListEnd || token.kind == Kind::kRowEnd) {
      openCounts_.pop_back();
      continue;
    }
    ++structure_[openCounts_.back()];
    if (token.key != Row::kNoKey) structure_.push_back(static_cast<jint>(token.key));
    if (token.kind == Kind::kText) {
      structure_.insert(structure_.end(),
                        {kText, static_cast<jint>(token.offset), static_cast<jint>(token.length)});
    } else {
      structure_.push_back(token.kind == Kind::kListBegin ? kList : kRow);
      openCounts_.push_back(structure_.size());
      structure_.push_back(0);
    }
  }
}

bool RowAssembler::PassKeys() {
  if (keyArray_ && keyCount_ == keys_.size()) return true;
  JNIEnv* env = java_.env();
  const LocalRef<jclass> stringClass(env, env->FindClass("java/lang/String"));
  if (!java_.Check()) return false;
  keyArray_ = {env,
               env->NewObjectArray(static_cast<jsize>(keys_.size()), stringClass.get(), nullptr)};
  if (!java_.Check()) return false;
  keyCount_ = keys_.size();
  for (std::size_t i = 0; i < keyCount_; ++i) {
    const LocalRef<jstring> key = NewJavaString(java_, keys_.NameOf(static_cast<call::KeyId>(i)));
    if (!key) return false;
    env->SetObjectArrayElement(keyArray_.get(), static_cast<jsize>(i), key.get());
    if (!java_.Check()) return false;
  }
  return true;
}

bool RowAssembler::PassTexts(const Row& row) {
  JNIEnv* env = java_.env();
  const std::u16string_view texts = row.texts();
  if (!textArray_ || texts.size() > textCapacity_) {
    textCapacity_ = std::max(kSmallestArray, 2 * texts.size());
    textArray_ = {env, env->NewCharArray(static_cast<jsize>(textCapacity_))};
    if (!java_.Check()) return false;
  }
  env->SetCharArrayRegion(textArray_.get(), 0, static_cast<jsize>(texts.size()),
                          reinterpret_cast<const jchar*>(texts.data()));
  return java_.Check();
}

bool RowAssembler::PassStructure() {
  JNIEnv* env = java_.env();
  if (!structureArray_ || structure_.size() > structureCapacity_) {
    structureCapacity_ = std::max(kSmallestArray, 2 * structure_.size());
    structureArray_ = {env, env->NewIntArray(static_cast<jsize>(structureCapacity_))};
    if (!java_.Check()) return false;
  }
  env->SetIntArrayRegion(structureArray_.get(), 0, static_cast<jsize>(structure_.size()),
                         structure_.data());
  return java_.Check();
}

}  // namespace zorvan::bridge
