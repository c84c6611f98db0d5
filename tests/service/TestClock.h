#ifndef LUMO_TESTS_TESTCLOCK_H
#define LUMO_TESTS_TESTCLOCK_H

#include "ServiceClock.h"
#include "TempDir.h"

#include <fstream>

namespace lumo_test {

// The service's clock, moved by a test through its offset file.
class TestClock {
public:
    // Now becomes offset seconds after the system clock.
    void Set(long long offset) const { std::ofstream(dir.File("clock-offset")) << offset << "\n"; }
    const lumo_service::ServiceClock& Clock() const { return clock; }

private:
    TempDir dir;
    lumo_service::ServiceClock clock {dir.File("clock-offset")};
};

} // namespace lumo_test

#endif
