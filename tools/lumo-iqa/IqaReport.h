#ifndef LUMO_IQA_IQAREPORT_H
#define LUMO_IQA_IQAREPORT_H

#include "IqaComparison.h"
#include "IqaOptions.h"

#include <cstdio>
#include <vector>

namespace lumo_iqa {

// Averages over all frames.
struct IqaSummary {
    double meanMse[3] = {0, 0, 0};
    double psnrOfMeanMse[3] = {0, 0, 0}; // as FFmpeg's psnr filter reports
    double meanPsnr[3] = {0, 0, 0};      // infinite if any frame's is
    double meanSsim = 0;

    static IqaSummary Of(const std::vector<FrameScore>& scores);
};

// Writes per-frame scores and the averages in the chosen format.
void WriteIqaReport(std::FILE* out, const IqaOptions& options,
                    const std::vector<FrameScore>& scores);

} // namespace lumo_iqa

#endif
