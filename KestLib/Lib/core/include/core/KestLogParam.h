#ifndef KEST_CORE_KESTLOGPARAM_H
#define KEST_CORE_KESTLOGPARAM_H

namespace Kest {

// Which pieces a log line carries besides its message.
struct KestLogParam {
    int levelFlag = 1;
    int timeFlag = 1;
    int fileFlag = 1;
    // Kept for the settings call; the file piece already carries the line.
    int lineFlag = 1;
    int funcFlag = 1;
};

} // namespace Kest

#endif
