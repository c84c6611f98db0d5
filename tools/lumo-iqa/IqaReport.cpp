#include "IqaReport.h"

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

std::string JsonString(const std::string& s)
{
    std::string out = "\"";
    for (unsigned char c : s) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof(escaped), "\\u%04x", c);
            out += escaped;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

std::string JsonPlanes(const double* v)
{
    return "{\"y\":" + Number(v[0], OutputFormat::Json) +
           ",\"u\":" + Number(v[1], OutputFormat::Json) +
           ",\"v\":" + Number(v[2], OutputFormat::Json) + "}";
}

const char* RangeName(lumo::COLOR_SPACE range)
{
    return range == lumo::COLOR_SPACE_VIDEO_RANGE ? "video" : "full";
}

// One table row: label, three MSE, three PSNR, SSIM.
void WriteRow(std::FILE* out, OutputFormat format, const std::string& label, const double* mse,
              const double* psnr, double ssim)
{
    if (format == OutputFormat::Csv) {
        std::fprintf(out, "%s", label.c_str());
        for (int p = 0; p < 3; ++p) {
            std::fprintf(out, ",%s", Number(mse[p], format).c_str());
        }
        for (int p = 0; p < 3; ++p) {
            std::fprintf(out, ",%s", Number(psnr[p], format).c_str());
        }
        std::fprintf(out, ",%s\n", Number(ssim, format).c_str());
        return;
    }
    std::fprintf(out, "%-9s", label.c_str());
    for (int p = 0; p < 3; ++p) {
        std::fprintf(out, " %12s", Number(mse[p], format).c_str());
    }
    for (int p = 0; p < 3; ++p) {
        std::fprintf(out, " %10s", Number(psnr[p], format).c_str());
    }
    std::fprintf(out, " %9s\n", Number(ssim, format).c_str());
}

void WriteTable(std::FILE* out, const IqaOptions& o, const std::vector<FrameScore>& scores,
                const IqaSummary& sum)
{
    if (o.format == OutputFormat::Csv) {
        std::fprintf(out, "frame,mse_y,mse_u,mse_v,psnr_y,psnr_u,psnr_v,ssim\n");
    } else {
        std::fprintf(out, "# %s vs %s: %dx%d %s, %s range, %zu frames\n", o.pathA.c_str(),
                     o.pathB.c_str(), o.width, o.height, o.layout.idName.c_str(),
                     RangeName(o.range), scores.size());
        std::fprintf(out, "%-9s %12s %12s %12s %10s %10s %10s %9s\n", "frame", "mse_y", "mse_u",
                     "mse_v", "psnr_y", "psnr_u", "psnr_v", "ssim");
    }
    for (size_t f = 0; f < scores.size(); ++f) {
        WriteRow(out, o.format, std::to_string(f), scores[f].mse, scores[f].psnr, scores[f].ssim);
    }
    // avg_mse: PSNR of the mean MSE; avg_psnr: mean of the frames' PSNR.
    WriteRow(out, o.format, "avg_mse", sum.meanMse, sum.psnrOfMeanMse, sum.meanSsim);
    WriteRow(out, o.format, "avg_psnr", sum.meanMse, sum.meanPsnr, sum.meanSsim);
}

void WriteJson(std::FILE* out, const IqaOptions& o, const std::vector<FrameScore>& scores,
               const IqaSummary& sum)
{
    std::fprintf(out,
                 "{\"a\":%s,\"b\":%s,\"width\":%d,\"height\":%d,\"layout\":%s,\"range\":\"%s\",\n",
                 JsonString(o.pathA).c_str(), JsonString(o.pathB).c_str(), o.width, o.height,
                 JsonString(o.layout.idName).c_str(), RangeName(o.range));
    std::fprintf(out, "\"frames\":[");
    for (size_t f = 0; f < scores.size(); ++f) {
        std::fprintf(out, "%s\n{\"frame\":%zu,\"mse\":%s,\"psnr\":%s,\"ssim\":%s}",
                     f == 0 ? "" : ",", f, JsonPlanes(scores[f].mse).c_str(),
                     JsonPlanes(scores[f].psnr).c_str(),
                     Number(scores[f].ssim, OutputFormat::Json).c_str());
    }
    std::fprintf(out,
                 "],\n\"average\":{\"mse\":%s,\"psnr_of_mean_mse\":%s,\"mean_psnr\":%s,"
                 "\"ssim\":%s}}\n",
                 JsonPlanes(sum.meanMse).c_str(), JsonPlanes(sum.psnrOfMeanMse).c_str(),
                 JsonPlanes(sum.meanPsnr).c_str(),
                 Number(sum.meanSsim, OutputFormat::Json).c_str());
}

} // namespace

IqaSummary IqaSummary::Of(const std::vector<FrameScore>& scores)
{
    IqaSummary s;
    if (scores.empty()) {
        return s;
    }
    const double n = static_cast<double>(scores.size());
    for (const FrameScore& f : scores) {
        for (int p = 0; p < 3; ++p) {
            s.meanMse[p] += f.mse[p] / n;
            s.meanPsnr[p] += f.psnr[p] / n;
        }
        s.meanSsim += f.ssim / n;
    }
    for (int p = 0; p < 3; ++p) {
        s.psnrOfMeanMse[p] =
            s.meanMse[p] == 0.0 ? INFINITY : 10.0 * std::log10(255.0 * 255.0 / s.meanMse[p]);
    }
    return s;
}

void WriteIqaReport(std::FILE* out, const IqaOptions& options,
                    const std::vector<FrameScore>& scores)
{
    const IqaSummary sum = IqaSummary::Of(scores);
    if (options.format == OutputFormat::Json) {
        WriteJson(out, options, scores, sum);
    } else {
        WriteTable(out, options, scores, sum);
    }
}

} // namespace lumo_iqa
