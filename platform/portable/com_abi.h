// COM and DirectInput driver ABI as seen by the portable build.
#pragma once
#include "compat/windows_abi.h"
#include "compat/dinput_abi.h"
