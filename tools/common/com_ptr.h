#ifndef ZARNOW_TOOLS_COM_PTR_H
#define ZARNOW_TOOLS_COM_PTR_H

#include <wrl/client.h>

using Microsoft::WRL::ComPtr;

#endif
