#ifndef KEST_CORE_KESTRUNNABLE_H
#define KEST_CORE_KESTRUNNABLE_H

namespace Kest {

// A unit of work queued on a KestThread and run inside its event loop.
class KestRunnable {
public:
    virtual ~KestRunnable() = default;
    virtual int Run() = 0;
};

} // namespace Kest

#endif
