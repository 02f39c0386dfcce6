// The one place where an exception inside an entry point becomes a status.
#ifndef ZOCAM_CORE_ENTRY_GUARD_H
#define ZOCAM_CORE_ENTRY_GUARD_H

#include <new>

#include "zocam/zocam.h"

// Runs an entry point that uses containers; nothing is thrown across the interface.
template <class Body>
ZoStatus GuardedEntry(Body&& body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return ZO_STATUS_NO_MEMORY;
  } catch (...) {
    return ZO_STATUS_INTERNAL_ERROR;
  }
}

#endif
