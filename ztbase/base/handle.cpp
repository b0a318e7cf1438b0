#include "ztbase/base/handle.h"

namespace ZtBase {

// Out of line so that the vtables of the body bases live in the library.
CRepBase::~CRepBase() = default;
CBodyBase::~CBodyBase() = default;

}  // namespace ZtBase
