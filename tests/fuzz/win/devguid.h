#pragma once

#include <windows.h>

extern const GUID GUID_DEVCLASS_NET;
