// The Java classes and members that the library calls, resolved once for the whole process.
//
// Java fills the cache with InitializeClassIDs before any other native call and empties it with
// CleanupClassIDs. A call holds the cache that it began with, so both may come while calls run:
// those end as they began, and what the cache refers to is released with the last of them.
#pragma once

#include <jni.h>

#include <memory>

namespace zorvan::bridge {

// Classes and the logger object are global references, deleted by whoever lets the cache go last;
// that is a thread of the virtual machine.
struct JavaClassCache {
  explicit JavaClassCache(JavaVM* virtualMachine) : machine(virtualMachine) {}
  JavaClassCache(const JavaClassCache&) = delete;
  JavaClassCache& operator=(const JavaClassCache&) = delete;
  ~JavaClassCache();

  JavaVM* machine;
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
  jmethodID missingMember = nullptr;   // null where the Java side has none
  jclass rowAssemblerClass = nullptr;  // null where the Java side has none
  jmethodID rowAssemblerAssemble = nullptr;
  jclass threadClass = nullptr;
  jmethodID currentThread = nullptr;
  jmethodID isInterrupted = nullptr;
};

// Fills the cache. What cannot be found is left null, with a message on standard output for some
// entries. What calls cannot do without is named to ADHandler.missingMember, or on standard error
// where that is missing too. Filling it again replaces it.
void InitializeClassIDs(JNIEnv* env);

// Empties the cache.
void CleanupClassIDs();

// The cache, or null while it is empty or lacks an entry that calls cannot do without: a call then
// has nobody to speak to and ends at once.
std::shared_ptr<const JavaClassCache> UsableClassCache();

}  // namespace zorvan::bridge
