#pragma once

/// Marks what the shared library exports; everything else stays hidden inside it.
#define SERVICEMUX_API __attribute__((visibility("default")))
