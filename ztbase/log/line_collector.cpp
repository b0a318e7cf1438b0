#include "ztbase/log/line_collector.h"

#include <vector>

#include "ztbase/strings/format.h"

namespace ZtBase {

namespace {
// The formatted text; the buffer grows until it fits.
template <class Ch>
std::vector<Ch> Formatted(const Ch* format, va_list args) {
    std::vector<Ch> buffer(256);
    for (;;) {
        va_list copy;
        va_copy(copy, args);
        const int n = FormatTextV(buffer.data(), buffer.size(), format, copy);
        va_end(copy);
        if (n >= 0 && static_cast<std::size_t>(n) < buffer.size()) {
            buffer.resize(static_cast<std::size_t>(n));
            return buffer;
        }
        buffer.resize(buffer.size() * 4);
    }
}
}  // namespace

CLineCollector::CLineCollector() : m_previous(InstallLineSink(this)) {}

CLineCollector::~CLineCollector() {
    InstallLineSink(m_previous);
}

int CLineCollector::vwprintf(LogTypes, const unsigned short* format, va_list args) {
    const std::vector<unsigned short> text = Formatted(format, args);
    if (!text.empty()) {
        std::lock_guard<std::mutex> hold(m_lock);
        m_text += CUniStr(text.data(), static_cast<unsigned>(text.size()));
    }
    return static_cast<int>(text.size());
}

int CLineCollector::vprintf(LogTypes, const char* format, va_list args) {
    const std::vector<char> text = Formatted(format, args);
    if (!text.empty()) {
        std::lock_guard<std::mutex> hold(m_lock);
        m_text += CUniStr(text.data(), static_cast<unsigned>(text.size()));
    }
    return static_cast<int>(text.size());
}

CUniStr CLineCollector::GetText() const {
    std::lock_guard<std::mutex> hold(m_lock);
    return m_text;
}

}  // namespace ZtBase
