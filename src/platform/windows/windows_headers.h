// The system's headers, in the order in which they can be read: those of the directory interface
// expect those of COM before them.
#pragma once

// clang-format off
#include <windows.h>
#include <objbase.h>
#include <oleauto.h>
#include <activeds.h>
#include <wtsapi32.h>
// clang-format on
