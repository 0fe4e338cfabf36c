/// @file
/// Umbrella header of the media-graph framework: our own implementation of the published DirectShow base classes.
/// Class, member and function names and their signatures are the published ones, so that filter code compiles against
/// either copy.

#ifndef ZARNOW_BASECLASSES_STREAMS_H
#define ZARNOW_BASECLASSES_STREAMS_H

#include "platform.h"
#include "checks.h"
#include "sync.h"
#include "unknown.h"
#include "thread.h"
#include "media_type.h"
#include "setup_data.h"
#include "enumerators.h"
#include "base_filter.h"
#include "base_pin.h"
#include "output_pin.h"
#include "media_sample.h"
#include "allocator.h"
#include "input_pin.h"
#include "source.h"
#include "dispatch.h"
#include "persist_stream.h"
#include "property_page.h"
#include "class_factory.h"
#include "registration.h"

#endif
