#include "IqaReport.h"

#include "IqaText.h"

#include <cinttypes>
#include <cmath>
#include <string>

namespace lumo_iqa {

namespace {

// inf and nan spelled for the format: JSON has neither, so both are null.
std::string Number(double v, OutputFormat format)
{
    if (std::isnan(v)) {
        return format == OutputFormat::Json ? "null" : "nan";
    }
    if (std::isinf(v)) {
        return format == OutputFormat::Json ? "null" : (v > 0 ? "inf" : "-inf");
    }
    char text[64];
    std::snprintf(text, sizeof(text), "%.6f", v);
    return text;
}

std::string JsonPlanes(const double* v)
{
    return "{\"y\":" + Number(v[0], OutputFormat::Json) +
           ",\"u\":" + Number(v[1], OutputFormat::Json) +
           ",\"v\":" + Number(v[2], OutputFormat::Json) + "}";
}

std::string JsonChroma(const double* v)
{
    return ",\"ssim_u\":" + Number(v[0], OutputFormat::Json) +
           ",\"ssim_v\":" + Number(v[1], OutputFormat::Json);
}

const char* RangeName(lumo::COLOR_SPACE range)
{
    return range == lumo::COLOR_SPACE_VIDEO_RANGE ? "video" : "full";
}

} // namespace

IqaSummary::IqaSummary(int64_t frames) : count(static_cast<double>(frames)) {}

void IqaSummary::Add(const FrameScore& f)
{
    for (int p = 0; p < 3; ++p) {
        meanMse[p] += f.mse[p] / count;
        meanPsnr[p] += f.psnr[p] / count;
    }
    meanSsim += f.ssim / count;
    for (int p = 0; p < 2; ++p) {
        meanSsimChroma[p] += f.ssimChroma[p] / count;
    }
}

void IqaSummary::Finish()
{
    for (int p = 0; p < 3; ++p) {
        psnrOfMeanMse[p] =
            meanMse[p] == 0.0 ? INFINITY : 10.0 * std::log10(255.0 * 255.0 / meanMse[p]);
    }
}

IqaReportWriter::IqaReportWriter(std::FILE* out, const IqaOptions& options, const IqaInput& a,
                                 const IqaInput& b, int64_t frames)
    : out(out), options(options), a(a), b(b), frames(frames), summary(frames)
{
}

void IqaReportWriter::Begin()
{
    if (options.format == OutputFormat::Json) {
        std::fprintf(out,
                     "{\"a\":%s,\"b\":%s,\"width\":%d,\"height\":%d,\"layout\":%s,%s\"range\":\"%s\",\n",
                     JsonString(a.path).c_str(), JsonString(b.path).c_str(), a.width, a.height,
                     JsonString(a.layout.idName).c_str(),
                     a.layout == b.layout ? "" : ("\"layout_b\":" + JsonString(b.layout.idName) + ",").c_str(),
                     RangeName(options.range));
        if (options.summaryOnly) {
            std::fprintf(out, "\"frame_count\":%" PRId64 ",\n", frames);
        } else {
            std::fprintf(out, "\"frames\":[");
        }
        return;
    }
    const char* chromaColumns = options.perPlaneSsim ? (options.format == OutputFormat::Csv ? ",ssim_u,ssim_v" : "    ssim_u    ssim_v") : "";
    if (options.format == OutputFormat::Csv) {
        std::fprintf(out, "frame,mse_y,mse_u,mse_v,psnr_y,psnr_u,psnr_v,ssim%s\n", chromaColumns);
        return;
    }
    const std::string layout =
        a.layout == b.layout ? a.layout.idName : a.layout.idName + " vs " + b.layout.idName;
    std::fprintf(out, "# %s vs %s: %dx%d %s, %s range, %" PRId64 " frames\n",
                 OneLine(a.path).c_str(), OneLine(b.path).c_str(), a.width, a.height,
                 layout.c_str(), RangeName(options.range), frames);
    std::fprintf(out, "%-9s %12s %12s %12s %10s %10s %10s %9s%s\n", "frame", "mse_y", "mse_u",
                 "mse_v", "psnr_y", "psnr_u", "psnr_v", "ssim", chromaColumns);
}

void IqaReportWriter::Row(const std::string& label, const double* mse, const double* psnr,
                          double ssim, const double* ssimChroma)
{
    const OutputFormat format = options.format;
    if (format == OutputFormat::Csv) {
        std::fprintf(out, "%s", label.c_str());
        for (int p = 0; p < 3; ++p) {
            std::fprintf(out, ",%s", Number(mse[p], format).c_str());
        }
        for (int p = 0; p < 3; ++p) {
            std::fprintf(out, ",%s", Number(psnr[p], format).c_str());
        }
        std::fprintf(out, ",%s", Number(ssim, format).c_str());
        if (options.perPlaneSsim) {
            std::fprintf(out, ",%s,%s", Number(ssimChroma[0], format).c_str(),
                         Number(ssimChroma[1], format).c_str());
        }
        std::fputc('\n', out);
        return;
    }
    std::fprintf(out, "%-9s", label.c_str());
    for (int p = 0; p < 3; ++p) {
        std::fprintf(out, " %12s", Number(mse[p], format).c_str());
    }
    for (int p = 0; p < 3; ++p) {
        std::fprintf(out, " %10s", Number(psnr[p], format).c_str());
    }
    std::fprintf(out, " %9s", Number(ssim, format).c_str());
    if (options.perPlaneSsim) {
        std::fprintf(out, " %9s %9s", Number(ssimChroma[0], format).c_str(),
                     Number(ssimChroma[1], format).c_str());
    }
    std::fputc('\n', out);
}

void IqaReportWriter::Frame(int64_t index, const FrameScore& score)
{
    summary.Add(score);
    if (options.summaryOnly) {
        return;
    }
    if (options.format == OutputFormat::Json) {
        std::fprintf(out, "%s\n{\"frame\":%" PRId64 ",\"mse\":%s,\"psnr\":%s,\"ssim\":%s%s}",
                     index == 0 ? "" : ",", index, JsonPlanes(score.mse).c_str(),
                     JsonPlanes(score.psnr).c_str(), Number(score.ssim, OutputFormat::Json).c_str(),
                     options.perPlaneSsim ? JsonChroma(score.ssimChroma).c_str() : "");
        return;
    }
    Row(std::to_string(index), score.mse, score.psnr, score.ssim, score.ssimChroma);
}

void IqaReportWriter::End()
{
    summary.Finish();
    const IqaSummary& sum = summary;
    if (options.format == OutputFormat::Json) {
        std::fprintf(out,
                     "%s\"average\":{\"mse\":%s,\"psnr_of_mean_mse\":%s,\"mean_psnr\":%s,"
                     "\"ssim\":%s%s}}\n",
                     options.summaryOnly ? "" : "],\n", JsonPlanes(sum.meanMse).c_str(),
                     JsonPlanes(sum.psnrOfMeanMse).c_str(), JsonPlanes(sum.meanPsnr).c_str(),
                     Number(sum.meanSsim, OutputFormat::Json).c_str(),
                     options.perPlaneSsim ? JsonChroma(sum.meanSsimChroma).c_str() : "");
        return;
    }
    // avg_mse: PSNR of the mean MSE; avg_psnr: mean of the frames' PSNR.
    Row("avg_mse", sum.meanMse, sum.psnrOfMeanMse, sum.meanSsim, sum.meanSsimChroma);
    Row("avg_psnr", sum.meanMse, sum.meanPsnr, sum.meanSsim, sum.meanSsimChroma);
}

} // namespace lumo_iqa
