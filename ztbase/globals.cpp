// Every exported global object of the library, in one place and in dependency order: within this
// translation unit construction follows the order below and destruction is the reverse.
//
// The memory pools and the character tables are constant-initialised: they are usable before any
// constructor of the library has run, so static objects elsewhere may create strings at any time.

#include "ztbase/base/memory_pool.h"
#include "ztbase/components/component_manager.h"
#include "ztbase/components/sync_isapi_init.h"
#include "ztbase/components/unit_test.h"
#include "ztbase/files/file_system.h"
#include "ztbase/generic/symbol.h"
#include "ztbase/log/log.h"
#include "ztbase/process/process_manager.h"
#include "ztbase/strings/chardefs.h"

namespace ZtBase {

constinit CMemoryPoolManager gMemoryPoolManager;
// Constant-initialised as well: threads may register before any constructor has run.
constinit CZtProcessManager gZtProcessManager;

#define ZT_CHARDEF1(n) detail::MakeCharDef(n),
#define ZT_CHARDEF4(n) ZT_CHARDEF1(n) ZT_CHARDEF1(n + 1) ZT_CHARDEF1(n + 2) ZT_CHARDEF1(n + 3)
#define ZT_CHARDEF16(n) ZT_CHARDEF4(n) ZT_CHARDEF4(n + 4) ZT_CHARDEF4(n + 8) ZT_CHARDEF4(n + 12)
#define ZT_CHARDEF64(n) ZT_CHARDEF16(n) ZT_CHARDEF16(n + 16) ZT_CHARDEF16(n + 32) ZT_CHARDEF16(n + 48)
constinit const CCharDef ICCharacters[256] = {ZT_CHARDEF64(0) ZT_CHARDEF64(64) ZT_CHARDEF64(128)
                                                  ZT_CHARDEF64(192)};
#undef ZT_CHARDEF64
#undef ZT_CHARDEF16
#undef ZT_CHARDEF4
#undef ZT_CHARDEF1

#define ZT_RANK1(n) detail::CollationRank(n),
#define ZT_RANK4(n) ZT_RANK1(n) ZT_RANK1(n + 1) ZT_RANK1(n + 2) ZT_RANK1(n + 3)
#define ZT_RANK16(n) ZT_RANK4(n) ZT_RANK4(n + 4) ZT_RANK4(n + 8) ZT_RANK4(n + 12)
#define ZT_RANK64(n) ZT_RANK16(n) ZT_RANK16(n + 16) ZT_RANK16(n + 32) ZT_RANK16(n + 48)
constinit unsigned char ICSortMap[256] = {ZT_RANK64(0) ZT_RANK64(64) ZT_RANK64(128) ZT_RANK64(192)};
#undef ZT_RANK64
#undef ZT_RANK16
#undef ZT_RANK4
#undef ZT_RANK1

CLogManager gLog;
// The symbol table itself is made on first use and never destroyed.
CSymbol trueSymbol("True");
CSymbol falseSymbol("False");
CXFileSystem gFileSystem;
CComponentManager gComponentManager(new CNativeComponentManager);
CUnitTestManager gUnitTestManager;
// Last: it tells callers that every object above is usable.
CSyncIsapiInit gSyncIsapiInit;

}  // namespace ZtBase
