// How an exported method is declared: Java resolves it by this name, and nothing else may leave the
// library.
#pragma once

#include <jni.h>

#define ZORVAN_EXPORT(result, method) \
  extern "C" JNIEXPORT result JNICALL Java_com_velmora_tesk_zorvan_common_server_ADHandler_##method
