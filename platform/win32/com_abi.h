// COM and DirectInput driver ABI: the platform's own headers.
#pragma once
#include <windows.h>
#include <objbase.h>
#define DIRECTINPUT_VERSION 0x0800
#include <dinput.h>
#include <dinputd.h>
