// The Java classes and members that the library calls, resolved once for the whole process.
//
// Java fills the cache with InitializeClassIDs before any other native call and empties it with
// CleanupClassIDs. A call keeps the cache that it began with, so both are safe while calls run; the
// last of those calls releases the references.
#pragma once

#include <jni.h>

#include <memory>

namespace zorvan::bridge {

// Classes and the logger object are global references, which the destructor deletes. It must run on
// a thread of the virtual machine.
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

// Fills the cache. A missing entry is null; for some a message goes to standard output. The names
// of required entries that are missing go to ADHandler.missingMember, or to standard error where
// that method is missing too. Filling the cache again replaces it.
void InitializeClassIDs(JNIEnv* env);

// Empties the cache.
void CleanupClassIDs();

// The cache, or null while it is empty or lacks an entry that calls cannot do without: a call then
// has nobody to speak to and ends at once.
std::shared_ptr<const JavaClassCache> UsableClassCache();

}  // namespace zorvan::bridge
