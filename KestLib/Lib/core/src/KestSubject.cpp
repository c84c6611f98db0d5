#include "core/KestSubject.h"

#include <algorithm>

namespace Kest {

int KestSubject::AddObserver(KestObserver* observer)
{
    std::lock_guard<std::mutex> lock(observersMutex);
    observers.push_back(observer);
    return 0;
}

int KestSubject::RemoveObserver(KestObserver* observer)
{
    std::lock_guard<std::mutex> lock(observersMutex);
    observers.erase(std::remove(observers.begin(), observers.end(), observer), observers.end());
    return 0;
}

int KestSubject::NotifyObserver()
{
    std::lock_guard<std::mutex> lock(observersMutex);
    for (KestObserver* observer : observers) {
        observer->Update();
    }
    return 0;
}

} // namespace Kest
