#include "bridge/java_class_cache.h"

#include <array>
#include <cstdio>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "bridge/local_reference.h"

namespace zorvan::bridge {
namespace {

using Cache = JavaClassCache;
using ClassSlot = jclass Cache::*;
using MethodSlot = jmethodID Cache::*;
using FieldSlot = jfieldID Cache::*;
using ObjectSlot = jobject Cache::*;

enum class Kind { kClass, kInstanceMethod, kStaticMethod, kStaticField, kStaticObject };

// One entry: what to look up, where to keep it, and what to print when it is not there. Calls
// cannot do without an entry that has no message.
struct Entry {
  Kind kind;
  ClassSlot owner;  // the class itself, or the class of the member
  const char* name;
  const char* signature = nullptr;
  const char* message = nullptr;
  const char* referenceMessage =
      nullptr;  // when the class is there but the global reference is not
  MethodSlot method = nullptr;
  FieldSlot field = nullptr;
  ObjectSlot object = nullptr;
};

constexpr Entry Class(ClassSlot slot, const char* name, const char* message = nullptr,
                      const char* referenceMessage = nullptr) {
  return {Kind::kClass, slot, name, nullptr, message, referenceMessage, nullptr, nullptr, nullptr};
}

constexpr Entry Method(ClassSlot owner, MethodSlot slot, const char* name, const char* signature,
                       const char* message = nullptr) {
  return {Kind::kInstanceMethod, owner, name, signature, message, nullptr, slot, nullptr, nullptr};
}

constexpr Entry StaticMethod(ClassSlot owner, MethodSlot slot, const char* name,
                             const char* signature, const char* message = nullptr) {
  return {Kind::kStaticMethod, owner, name, signature, message, nullptr, slot, nullptr, nullptr};
}

constexpr Entry StaticField(ClassSlot owner, FieldSlot slot, const char* name,
                            const char* signature, const char* message) {
  return {Kind::kStaticField, owner, name, signature, message, nullptr, nullptr, slot, nullptr};
}

constexpr Entry StaticObject(ClassSlot owner, FieldSlot field, ObjectSlot slot,
                             const char* message) {
  return {Kind::kStaticObject, owner, nullptr, nullptr, message, nullptr, nullptr, field, slot};
}

// The method name and the package that two of these messages speak of are not those that are looked
// up. Whoever watches the output knows the messages as they are.
constexpr const char* kNoLoggerMethod =
    "Could not find method 'void fine(String)' method in java.util.logging.Logger!\n";
constexpr const char* kNoHandlerClass =
    "Could not find class com/velmora/tesk/zorvan/security/server/ADHandler!\n";
// Calls do without the entry, and nobody need hear of it.
constexpr const char* kOptional = "";
constexpr const char* kHandlerClass = "com/velmora/tesk/zorvan/common/server/ADHandler";

constexpr std::array kEntries{
    Class(&Cache::propertiesClass, "java/util/Properties"),
    Method(&Cache::propertiesClass, &Cache::propertiesConstructor, "<init>", "()V"),
    Method(&Cache::propertiesClass, &Cache::propertiesPut, "put",
           "(Ljava/lang/Object;Ljava/lang/Object;)Ljava/lang/Object;"),
    Method(&Cache::propertiesClass, &Cache::propertiesGetProperty, "getProperty",
           "(Ljava/lang/String;)Ljava/lang/String;"),
    Method(&Cache::propertiesClass, &Cache::propertiesGet, "get",
           "(Ljava/lang/Object;)Ljava/lang/Object;"),
    Method(&Cache::propertiesClass, &Cache::propertiesContainsKey, "containsKey",
           "(Ljava/lang/Object;)Z"),
    Class(&Cache::longClass, "java/lang/Long"),
    Method(&Cache::longClass, &Cache::longValue, "longValue", "()J"),
    Class(&Cache::integerClass, "java/lang/Integer"),
    Method(&Cache::integerClass, &Cache::integerConstructor, "<init>", "(I)V"),
    Method(&Cache::integerClass, &Cache::integerValue, "intValue", "()I"),
    Class(&Cache::arrayListClass, "java/util/ArrayList"),
    Method(&Cache::arrayListClass, &Cache::arrayListSize, "size", "()I"),
    Method(&Cache::arrayListClass, &Cache::arrayListGet, "get", "(I)Ljava/lang/Object;"),
    Method(&Cache::arrayListClass, &Cache::arrayListConstructor, "<init>", "()V"),
    Method(&Cache::arrayListClass, &Cache::arrayListSizedConstructor, "<init>", "(I)V"),
    Method(&Cache::arrayListClass, &Cache::arrayListAdd, "add", "(Ljava/lang/Object;)Z"),
    Method(&Cache::arrayListClass, &Cache::arrayListInsert, "add", "(ILjava/lang/Object;)V"),
    Method(&Cache::arrayListClass, &Cache::arrayListRemove, "remove", "(I)Ljava/lang/Object;"),
    Class(&Cache::nativeListenerClass,
          "com/velmora/tesk/zorvan/common/server/model/NativeListener"),
    Method(&Cache::nativeListenerClass, &Cache::nativeListenerAddRow, "addRow",
           "(Ljava/util/Properties;)V"),
    Method(&Cache::nativeListenerClass, &Cache::nativeListenerIsCompleted, "isCompleted", "()Z"),
    Class(&Cache::nativeErrorClass, "com/velmora/tesk/zorvan/common/server/NativeError"),
    Method(&Cache::nativeErrorClass, &Cache::nativeErrorSetErrorList, "setErrorList",
           "(Ljava/lang/Object;Ljava/lang/String;Ljava/lang/Object;Ljava/lang/Object;"
           "Ljava/lang/Object;)V"),
    Method(&Cache::nativeErrorClass, &Cache::nativeErrorAddNotice, "addNotice",
           "(Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;J)V", kOptional),
    Class(&Cache::domainInfoCacheClass, "com/velmora/tesk/zorvan/common/server/DomainInfoCache",
          "\n\nLRefDomainInfoCache is NULL\n\n", "\n\nDomainInfoCacheClass is NULL\n\n"),
    StaticMethod(&Cache::domainInfoCacheClass, &Cache::domainInfoCacheGetInstance, "getInstance",
                 "()Lcom/velmora/tesk/zorvan/common/server/DomainInfoCache;",
                 "\n\nLgetDomainInfoCacheInstanceID is NULL\n\n"),
    Method(&Cache::domainInfoCacheClass, &Cache::domainInfoCacheSetDomainStatus, "setDomainStatus",
           "(Ljava/lang/String;I)V", "\n\nsetLookupStatusID is NULL\n\n"),
    Class(&Cache::loggerClass, "java/util/logging/Logger",
          "Could not find class java.util.logging.Logger!\n"),
    Method(&Cache::loggerClass, &Cache::loggerInfo, "info", "(Ljava/lang/String;)V",
           kNoLoggerMethod),
    Class(&Cache::loggerOwnerClass, kHandlerClass, kNoHandlerClass),
    StaticField(&Cache::loggerOwnerClass, &Cache::nativeLoggerField, "nativeLogger",
                "Ljava/util/logging/Logger;",
                "Could not find field 'java.util.logging.Logger nativeLogger'!\n"),
    StaticObject(&Cache::loggerOwnerClass, &Cache::nativeLoggerField, &Cache::loggerObject,
                 "Could not get logger object!\n"),
    Class(&Cache::logOwnerClass, kHandlerClass, kNoHandlerClass),
    StaticMethod(&Cache::logOwnerClass, &Cache::log, "log", "(ILjava/lang/String;)V"),
    StaticMethod(&Cache::logOwnerClass, &Cache::admanglog, "admanglog", "(ILjava/lang/String;)V"),
    StaticMethod(&Cache::logOwnerClass, &Cache::deleglog, "deleglog", "(ILjava/lang/String;)V"),
    StaticMethod(&Cache::logOwnerClass, &Cache::isdebugLogLevel, "isdebugLogLevel", "()Z"),
    StaticMethod(&Cache::logOwnerClass, &Cache::missingMember, "missingMember",
                 "(Ljava/lang/String;)V", kOptional),
    Class(&Cache::rowAssemblerClass, "com/velmora/tesk/zorvan/common/server/RowAssembler",
          kOptional),
    StaticMethod(&Cache::rowAssemblerClass, &Cache::rowAssemblerAssemble, "assemble",
                 "([Ljava/lang/String;[C[I)Ljava/util/Properties;", kOptional),
    Class(&Cache::threadClass, "java/lang/Thread", kOptional),
    StaticMethod(&Cache::threadClass, &Cache::currentThread, "currentThread",
                 "()Ljava/lang/Thread;", kOptional),
    Method(&Cache::threadClass, &Cache::isInterrupted, "isInterrupted", "()Z", kOptional),
};

// The cache in use, or null. Never destroyed: other threads may still call when the process ends.
struct Current {
  std::mutex mutex;
  std::shared_ptr<const Cache> cache;
};

Current& TheCurrent() {
  static auto& current = *std::make_unique<Current>().release();
  return current;
}

// Releases the previous cache after the lock: that calls into the virtual machine.
void Replace(std::shared_ptr<const Cache> cache) {
  Current& current = TheCurrent();
  const std::scoped_lock lock(current.mutex);
  current.cache.swap(cache);
}

void Print(const char* message) {
  if (message != nullptr) std::printf("%s", message);
}

// A failed look-up leaves an exception pending, and JNI forbids to go on to the next look-up with
// one.
template <typename T>
T Cleared(JNIEnv* env, T found) {
  if (env->ExceptionCheck()) env->ExceptionClear();
  return found;
}

bool FillClass(JNIEnv* env, Cache& cache, const Entry& entry) {
  const LocalRef<jclass> found(env, Cleared(env, env->FindClass(entry.name)));
  if (!found) Print(entry.message);
  auto* reference = found ? static_cast<jclass>(env->NewGlobalRef(found.get())) : nullptr;
  cache.*entry.owner = reference;
  if (reference != nullptr) return true;
  if (entry.referenceMessage != nullptr) {
    Print(entry.referenceMessage);
  } else if (found) {
    Print(entry.message);
  }
  return false;
}

bool FillMember(JNIEnv* env, Cache& cache, const Entry& entry) {
  jclass owner = cache.*entry.owner;
  bool found = false;
  switch (entry.kind) {
    case Kind::kInstanceMethod:
    case Kind::kStaticMethod: {
      jmethodID& method = cache.*entry.method;
      method = nullptr;
      if (owner != nullptr) {
        method = Cleared(env, entry.kind == Kind::kStaticMethod
                                  ? env->GetStaticMethodID(owner, entry.name, entry.signature)
                                  : env->GetMethodID(owner, entry.name, entry.signature));
      }
      found = method != nullptr;
      break;
    }
    case Kind::kStaticField: {
      jfieldID& field = cache.*entry.field;
      field = owner == nullptr
                  ? nullptr
                  : Cleared(env, env->GetStaticFieldID(owner, entry.name, entry.signature));
      found = field != nullptr;
      break;
    }
    default: {
      jfieldID field = cache.*entry.field;
      const LocalRef<jobject> value(
          env, field == nullptr ? nullptr : env->GetStaticObjectField(owner, field));
      cache.*entry.object = value ? env->NewGlobalRef(value.get()) : nullptr;
      found = cache.*entry.object != nullptr;
    }
  }
  if (!found) Print(entry.message);
  return found;
}

// A class by its name; a member by its class, name and signature.
std::string NameOf(const Entry& entry) {
  if (entry.kind == Kind::kClass) return entry.name;
  std::string name = "a class";
  for (const Entry& other : kEntries) {
    if (other.kind == Kind::kClass && other.owner == entry.owner) name = other.name;
  }
  name.append(".").append(entry.name);
  return entry.kind == Kind::kInstanceMethod || entry.kind == Kind::kStaticMethod
             ? name + entry.signature
             : name;
}

// Standard error is the last resort: without a word nobody would know why every call does nothing.
void TellMissing(JNIEnv* env, const Cache& cache, const std::string& name) {
  if (cache.missingMember == nullptr) {
    std::fprintf(stderr, "ZorvanSecurity: the Java classes lack %s, so no call can be made\n",
                 name.c_str());
    return;
  }
  const LocalRef<jstring> text(env, Cleared(env, env->NewStringUTF(name.c_str())));
  if (!text) return;
  jvalue argument;
  argument.l = text.get();
  env->CallStaticVoidMethodA(cache.logOwnerClass, cache.missingMember, &argument);
  if (env->ExceptionCheck() == JNI_TRUE) env->ExceptionClear();
}

}  // namespace

JavaClassCache::~JavaClassCache() {
  void* found = nullptr;
  if (machine->GetEnv(&found, JNI_VERSION_1_8) != JNI_OK) return;
  auto* env = static_cast<JNIEnv*>(found);
  for (const Entry& entry : kEntries) {
    jobject reference = nullptr;
    if (entry.kind == Kind::kClass) reference = this->*entry.owner;
    if (entry.kind == Kind::kStaticObject) reference = this->*entry.object;
    if (reference != nullptr) env->DeleteGlobalRef(reference);
  }
}

void InitializeClassIDs(JNIEnv* env) {
  CleanupClassIDs();
  JavaVM* machine = nullptr;
  if (env->GetJavaVM(&machine) != JNI_OK) return;
  const auto cache = std::make_shared<Cache>(machine);
  std::vector<std::string> missing;
  for (const Entry& entry : kEntries) {
    const bool isClass = entry.kind == Kind::kClass;
    const bool found = isClass ? FillClass(env, *cache, entry) : FillMember(env, *cache, entry);
    // The name of a missing class covers its members.
    const bool alone = isClass || (*cache).*entry.owner != nullptr;
    if (!found && entry.message == nullptr && alone) missing.push_back(NameOf(entry));
  }
  std::fflush(stdout);
  for (const std::string& name : missing) TellMissing(env, *cache, name);
  if (missing.empty()) Replace(cache);
}

void CleanupClassIDs() { Replace(nullptr); }

std::shared_ptr<const JavaClassCache> UsableClassCache() {
  Current& current = TheCurrent();
  const std::scoped_lock lock(current.mutex);
  return current.cache;
}

}  // namespace zorvan::bridge
