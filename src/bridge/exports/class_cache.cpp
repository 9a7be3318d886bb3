// Entry points that fill and empty the class cache.
#include "bridge/exports/entry_point.h"
#include "bridge/java_class_cache.h"

ZORVAN_EXPORT(void, InitializeClassIDs)(JNIEnv* env, jobject) {
  zorvan::bridge::InitializeClassIDs(env);
}

ZORVAN_EXPORT(void, CleanupClassIDs)(JNIEnv*, jobject) { zorvan::bridge::CleanupClassIDs(); }
