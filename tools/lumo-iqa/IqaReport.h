#ifndef LUMO_IQA_IQAREPORT_H
#define LUMO_IQA_IQAREPORT_H

#include "IqaComparison.h"
#include "IqaOptions.h"

#include <cstdint>
#include <cstdio>
#include <string>

namespace lumo_iqa {

// Averages over all frames, added up one frame at a time in frame order.
struct IqaSummary {
    double meanMse[3] = {0, 0, 0};
    double psnrOfMeanMse[3] = {0, 0, 0}; // as FFmpeg's psnr filter reports
    double meanPsnr[3] = {0, 0, 0};      // infinite if any frame's is
    double meanSsim = 0;
    double meanSsimChroma[2] = {0, 0};

    // frames: how many will be added, known before the first.
    explicit IqaSummary(int64_t frames);
    void Add(const FrameScore& score);
    // Fills psnrOfMeanMse once every frame is in.
    void Finish();

private:
    double count;
};

// Writes the report as the frames arrive: the header first, one row per
// frame (unless summary only), the averages at the end. Each line is built
// in a buffer kept for the whole report and written with one call.
class IqaReportWriter : public IqaSink {
public:
    IqaReportWriter(std::FILE* out, const IqaOptions& options, const IqaInput& a,
                    const IqaInput& b, int64_t frames);

    void Begin();
    // False once writing has failed.
    bool Frame(int64_t index, const FrameScore& score) override;
    void End();

private:
    void Row(const std::string& label, const double* mse, const double* psnr, double ssim,
             const double* ssimChroma);
    void Flush();

    std::FILE* out;
    const IqaOptions& options;
    const IqaInput& a;
    const IqaInput& b;
    int64_t frames;
    IqaSummary summary;
    std::string line;
    std::string number;
    std::string label;
};

} // namespace lumo_iqa

#endif
