// Locks and synchronisation objects, all of them: the lockable interface and its scope guard, the
// re-entrant quick lock, a counting event, a gate that threads wait at until it is opened, and a
// reader/writer lock with writer preference and re-entry for the writing thread.
#pragma once

#include "ztbase/process/event.h"
#include "ztbase/process/hold_release_flag.h"
#include "ztbase/process/quick_lock.h"
#include "ztbase/process/read_write_lock.h"
