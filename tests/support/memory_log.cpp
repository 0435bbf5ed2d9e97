#include "support/memory_log.h"

#include "korvimg.h"

namespace kt {

MemoryLog &memory_log() {
    static MemoryLog log;
    return log;
}

namespace {

void *KORVIMG_CALL refuse(uint32_t size) {
    memory_log().asked.push_back(size);
    return nullptr;
}
void *KORVIMG_CALL give(uint32_t size) {
    memory_log().asked.push_back(size);
    void *block = memory_alloc(size);
    memory_log().given.push_back(block);
    return block;
}
void *KORVIMG_CALL take_back(void *block) {
    memory_log().released.push_back(block);
    return memory_free(block);
}

}  // namespace

const korvimg::MemoryServices kRefusingMemory = {refuse, take_back};
const korvimg::MemoryServices kGivingMemory = {give, take_back};

}  // namespace kt
