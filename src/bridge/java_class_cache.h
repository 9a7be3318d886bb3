// The Java classes and members that the library calls, resolved once for the whole process.
//
// Java fills the cache with InitializeClassIDs before any other native call and empties it with
// CleanupClassIDs; between the two any thread reads it without a lock. Java must let neither of
// them run at the same time as another native call.
#pragma once

#include <jni.h>

namespace zorvan::bridge {

// Classes and the logger object are global references.
struct JavaClassCache {
  jclass propertiesClass = nullptr;
  jmethodID propertiesConstructor = nullptr;
  jmethodID propertiesPut = nullptr;
  jmethodID propertiesGetProperty = nullptr;
  jmethodID propertiesGet = nullptr;
  jmethodID propertiesContainsKey = nullptr;
  jclass longClass = nullptr;
  jmethodID longValue = nullptr;
  jclass integerClass = nullptr;
  jmethodID integerConstructor = nullptr;
  jmethodID integerValue = nullptr;
  jclass arrayListClass = nullptr;
  jmethodID arrayListSize = nullptr;
  jmethodID arrayListGet = nullptr;
  jmethodID arrayListConstructor = nullptr;
  jmethodID arrayListSizedConstructor = nullptr;
  jmethodID arrayListAdd = nullptr;
  jmethodID arrayListInsert = nullptr;
  jmethodID arrayListRemove = nullptr;
  jclass nativeListenerClass = nullptr;
  jmethodID nativeListenerAddRow = nullptr;
  jmethodID nativeListenerIsCompleted = nullptr;
  jclass nativeErrorClass = nullptr;
  jmethodID nativeErrorSetErrorList = nullptr;
  jmethodID nativeErrorAddNotice = nullptr;  // null where the Java side has none
  jclass domainInfoCacheClass = nullptr;
  jmethodID domainInfoCacheGetInstance = nullptr;
  jmethodID domainInfoCacheSetDomainStatus = nullptr;
  jclass loggerClass = nullptr;
  jmethodID loggerInfo = nullptr;
  jclass loggerOwnerClass = nullptr;  // ADHandler, only to read its logger
  jfieldID nativeLoggerField = nullptr;
  jobject loggerObject = nullptr;
  jclass logOwnerClass = nullptr;  // ADHandler again, held for its log methods
  jmethodID log = nullptr;
  jmethodID admanglog = nullptr;
  jmethodID deleglog = nullptr;
  jmethodID isdebugLogLevel = nullptr;
};

// Fills the cache. What cannot be found is left null, with a message on standard output for some
// entries. Filling it again lets the previous references go first.
void InitializeClassIDs(JNIEnv* env);

// Lets the references go. The entries keep their values, which nothing reads any more.
void CleanupClassIDs(JNIEnv* env);

// The cache, or null while it is empty or lacks an entry that calls cannot do without: a call then
// has nobody to speak to and ends at once.
const JavaClassCache* UsableClassCache();

}  // namespace zorvan::bridge
