// One file gives the class and interface ids of the platform's headers their storage.
#include <windows.h>
#include <initguid.h>
#include <devguid.h>
#include <netcfgx.h>
