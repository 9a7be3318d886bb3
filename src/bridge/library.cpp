// What the virtual machine calls when it loads and unloads the library.
#include "bridge/java_class_cache.h"

extern "C" JNIEXPORT jint JNICALL JNI_OnLoad(JavaVM*, void*) { return JNI_VERSION_1_8; }

extern "C" JNIEXPORT void JNICALL JNI_OnUnload(JavaVM*, void*) {
  zorvan::bridge::CleanupClassIDs();
}
