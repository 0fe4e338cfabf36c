/// @file
/// The media-graph framework: base classes for DirectShow filters with the published names and signatures.
#pragma once

#include <windows.h>
#include <objbase.h>
#include <oaidl.h>
#include <ocidl.h>
#include <olectl.h>
#include <mmsystem.h>
#include <mmreg.h>
#include <dshow.h>
#include <amvideo.h>
#include <vfwmsgs.h>

#include "unknown.h"
#include "sync.h"
#include "thread.h"
#include "media_type.h"
#include "media_sample.h"
#include "allocator.h"
#include "enumerators.h"
#include "registration.h"
#include "base_filter.h"
#include "base_pin.h"
#include "output_pin.h"
#include "input_pin.h"
#include "source.h"
#include "dispatch.h"
#include "persist_stream.h"
#include "property_page.h"
#include "class_factory.h"
