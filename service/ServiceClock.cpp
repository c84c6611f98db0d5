#include "ServiceClock.h"

#include <chrono>
#include <fstream>

namespace lumo_service {

ServiceClock::ServiceClock(std::string offsetFile)
    : offsetFile(std::move(offsetFile))
{
}

int64_t ServiceClock::Now() const
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::seconds>(now).count() + Offset();
}

int64_t ServiceClock::NowMilliseconds() const
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count() + Offset() * 1000;
}

int64_t ServiceClock::Offset() const
{
    if (offsetFile.empty()) {
        return 0;
    }
    std::ifstream in(offsetFile);
    int64_t offset = 0;
    return (in >> offset) ? offset : 0;
}

} // namespace lumo_service
