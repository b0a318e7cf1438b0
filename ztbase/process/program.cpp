#include "ztbase/process/program.h"

#include "ztbase/platform/internal/platform.h"

namespace ZtBase {

std::vector<std::string> GetProgramArguments(int argc, char** argv) {
    return platform::ProgramArguments(argc, argv);
}

void SetStandardStreamsUntranslated() noexcept {
    platform::UntranslatedStandardStreams();
}

}  // namespace ZtBase
