#pragma once

/// How often this program has asked for memory with `new` so far.
long allocations();
