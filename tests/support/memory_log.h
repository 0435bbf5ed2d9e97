// Memory services for the tests of routines that take their memory from a caller's
// services: one set that refuses every block, one that gives blocks through
// memory_alloc and memory_free. Both record what they are asked.
#pragma once

#include <cstdint>
#include <vector>

#include "frame/memory.h"

namespace kt {

struct MemoryLog {
    std::vector<uint32_t> asked;    // the size of every block asked for
    std::vector<void *> given;      // every block handed out (not the refused ones)
    std::vector<void *> released;   // every block given back
};
// What the services below were asked since the log was last cleared (= {}).
MemoryLog &memory_log();

extern const korvimg::MemoryServices kRefusingMemory;
extern const korvimg::MemoryServices kGivingMemory;

}  // namespace kt
