#ifndef KEST_CORE_KESTSUBJECT_H
#define KEST_CORE_KESTSUBJECT_H

#include "core/KestObserver.h"

#include <mutex>
#include <vector>

namespace Kest {

// Observers are not owned; every operation holds the subject's lock.
class KestSubject {
public:
    virtual ~KestSubject() = default;

    int AddObserver(KestObserver* observer);
    // Removes every entry equal to observer.
    int RemoveObserver(KestObserver* observer);
    // Calls Update() on each observer in the order they were added.
    int NotifyObserver();

private:
    std::vector<KestObserver*> observers;
    std::mutex observersMutex;
};

} // namespace Kest

#endif
