#ifndef KEST_CORE_KESTOBSERVER_H
#define KEST_CORE_KESTOBSERVER_H

namespace Kest {

class KestObserver {
public:
    virtual ~KestObserver() = default;
    virtual int Update() = 0;
};

} // namespace Kest

#endif
