// What the virtual machine calls when it loads and unloads the library.
#include "bridge/java_class_cache.h"

extern "C" JNIEXPORT jint JNICALL JNI_OnLoad(JavaVM*, void*) { return JNI_VERSION_1_8; }

extern "C" JNIEXPORT void JNICALL JNI_OnUnload(JavaVM* machine, void*) {
  void* env = nullptr;
  if (machine->GetEnv(&env, JNI_VERSION_1_8) == JNI_OK) {
    zorvan::bridge::CleanupClassIDs(static_cast<JNIEnv*>(env));
  }
}
