/// @file
/// The module's version; also read by the resource compiler.
#pragma once

#define ZARNOW_VERSION_NUMBERS 3, 0, 122, 0
#define ZARNOW_VERSION_TEXT "3.0.122.0"
