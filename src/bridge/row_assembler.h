// Rows as java.util.Properties at the price of one call into Java for each row.
//
// A call from native code into Java costs far more than what it does for one value, so a row
// crosses as two arrays, its characters and its structure, and the Java class RowAssembler makes
// the objects. RowWriter makes the same objects without that class.
//
// The structure array is: the number of entries, then for each entry its key (an index) and its
// value. A value is its kind followed by offset and length of a text, by the count and the values
// of a list, or by the count and the entries of a row.
#pragma once

#include <jni.h>

#include <cstddef>
#include <vector>

#include "bridge/java_call.h"
#include "bridge/local_reference.h"
#include "call/row.h"

namespace zorvan::bridge {

class RowAssembler {
 public:
  RowAssembler(JavaCall& java, const call::KeyTable& keys);
  RowAssembler(const RowAssembler&) = delete;
  RowAssembler& operator=(const RowAssembler&) = delete;

  // Whether the Java side has the class.
  bool IsThere() const;

  // A new Properties, or null when an exception is pending. Only when IsThere().
  LocalRef<jobject> ToProperties(const call::Row& row);

 private:
  void WriteStructure(const call::Row& row);
  bool PassKeys();
  bool PassTexts(const call::Row& row);
  bool PassStructure();

  JavaCall& java_;
  const call::KeyTable& keys_;
  // The Java arrays are reused from row to row and replaced when they are too short.
  LocalRef<jobjectArray> keyArray_;
  LocalRef<jcharArray> textArray_;
  LocalRef<jintArray> structureArray_;
  std::size_t keyCount_ = 0;
  std::size_t textCapacity_ = 0;
  std::size_t structureCapacity_ = 0;
  std::vector<jint> structure_;
  std::vector<std::size_t>
      openCounts_;  // where the counts of the lists and rows around a token stand
};

}  // namespace zorvan::bridge
