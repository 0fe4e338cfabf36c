#pragma once

#include <wrl/client.h>

using Microsoft::WRL::ComPtr;
