#pragma once

#include <cstdint>

#include "platform_api.h"

// Operating-system wrapper: mutex semaphores, memory pools, the scoped process-wide lock.
// All functions may be called by any number of threads at once. A status is 0 for success; every other value
// is a failure code of the platform, good for tracing only.
extern "C" {

// Creates a mutex semaphore, free. It lasts as long as the process; there is no operation that destroys it.
//   in      option, count: 0 and 1; other values are accepted and change nothing: the semaphore is binary
//   out     semid: its identifier, never 0; set on success only
//   result  0; a failure code for a null semid or when memory runs out
NTC_PLATFORM_API std::uint32_t emwOSWCreateMutexSem(std::uint32_t* semid, std::uint32_t option,
                                                    std::uint32_t count);

// Takes a semaphore. It does not nest: a holder that takes it again waits for itself.
//   in      timeout: milliseconds; 0 only tries, -1 (and any other negative value) waits without limit
//   result  0 when taken; a failure code for an unknown identifier or when the time is over
NTC_PLATFORM_API std::uint32_t emwOSWRequestMutexSem(std::uint32_t semid, std::int32_t timeout);

// Releases a semaphore. Any thread may, not only the one that took it.
//   result  0; a failure code for an unknown identifier or a semaphore that nobody holds, which stays free
NTC_PLATFORM_API std::uint32_t emwOSWReleaseMutexSem(std::uint32_t semid);

// Allocates a block from a memory pool.
//   in      pool: 0, the default pool, is the only one
//           size: octets; 0 gives a block of its own all the same
//   out     block: uninitialised, aligned for every type; null on failure; freed by emwOSWOrgFreeMemPart
//   result  0; a failure code for a null argument, an unknown pool or when memory runs out
NTC_PLATFORM_API std::uint32_t emwOSWOrgAllocMemPart(std::uint32_t pool, void** block, std::uint32_t size);

// Returns a block to the pool: one of emwOSWOrgAllocMemPart or of emwOSWSubAllocMem.
//   result  0; a failure code for a null block or an unknown pool
NTC_PLATFORM_API std::uint32_t emwOSWOrgFreeMemPart(std::uint32_t pool, void* block);

// Allocates a block from the default pool's sub-pool; the rest as emwOSWOrgAllocMemPart(0, block, size).
NTC_PLATFORM_API std::uint32_t emwOSWSubAllocMem(void** block, std::uint32_t size);

}  // extern "C"

// Holds the one process-wide lock for as long as it lives. A thread that holds it may take it again; every
// guard is destroyed by the thread that constructed it.
class NTC_PLATFORM_API OSW_Thread_Guard {
public:
    OSW_Thread_Guard();
    ~OSW_Thread_Guard();
    OSW_Thread_Guard(const OSW_Thread_Guard&) = delete;
    OSW_Thread_Guard& operator=(const OSW_Thread_Guard&) = delete;
};
