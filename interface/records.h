#pragma once

/// The records a controlling process hands in, generated from the Thrift IDL at build time.

// The generated classes carry no visibility of their own, and they live in a library of their own.
#pragma GCC visibility push(default)
#include "dvb_tables_types.h"
#include "general_types.h"
#include "simulcrypt_types.h"
#pragma GCC visibility pop
