// The machine-dependent half of jni.h for Windows on x64, so that the cross build needs no Windows
// JDK.
#ifndef ZORVAN_JNI_MD_H
#define ZORVAN_JNI_MD_H

#define JNIEXPORT __declspec(dllexport)
#define JNIIMPORT __declspec(dllimport)
#define JNICALL __stdcall

typedef long jint;  // 32 bits on Windows, also for x64
typedef __int64 jlong;
typedef signed char jbyte;

#endif
