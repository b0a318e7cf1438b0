// The umbrella header: everything public in the library.
#pragma once

#include "ztbase/base/arrays.h"
#include "ztbase/base/counters.h"
#include "ztbase/base/exception_base.h"
#include "ztbase/base/exceptions.h"
#include "ztbase/base/handle.h"
#include "ztbase/base/log.h"
#include "ztbase/base/memory_pool.h"
#include "ztbase/process/locks.h"
#include "ztbase/strings/chardefs.h"
#include "ztbase/strings/number_format.h"
#include "ztbase/strings/str.h"
#include "ztbase/strings/str_types.h"
#include "ztbase/strings/unistr.h"
