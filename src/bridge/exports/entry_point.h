// How an exported method is declared: Java resolves it by this name, and nothing else may leave the
// library. The header that javac writes from ADHandler declares every one of them, so an entry
// point with other arguments than Java passes does not compile.
#pragma once

#include <com_velmora_tesk_zorvan_common_server_ADHandler.h>
#include <jni.h>

#define ZORVAN_EXPORT(result, method) \
  extern "C" JNIEXPORT result JNICALL Java_com_velmora_tesk_zorvan_common_server_ADHandler_##method
