#include "IqaReport.h"

#include "IqaText.h"

#include <charconv>
#include <cinttypes>
#include <cmath>
#include <string>

namespace lumo_iqa {

namespace {

// Longest "%.6f" of a double: 309 integer digits, sign, point, 6 decimals.
constexpr size_t kNumberChars = 330;

// v as "%.6f" would print it (std::to_chars gives the same digits, much
// faster); inf and nan spelled for the format: JSON has neither, so both are
// null.
void AppendNumber(std::string& out, double v, OutputFormat format)
{
    if (std::isnan(v)) {
        out += format == OutputFormat::Json ? "null" : "nan";
        return;
    }
    if (std::isinf(v)) {
        out += format == OutputFormat::Json ? "null" : (v > 0 ? "inf" : "-inf");
        return;
    }
    char text[kNumberChars];
    const std::to_chars_result r =
        std::to_chars(text, text + sizeof(text), v, std::chars_format::fixed, 6);
    out.append(text, r.ptr);
}

// As printf's "%*s" (right) and "%-*s" (left).
void AppendAligned(std::string& out, const std::string& text, size_t width, bool left)
{
    const size_t pad = text.size() < width ? width - text.size() : 0;
    if (!left) {
        out.append(pad, ' ');
    }
    out += text;
    if (left) {
        out.append(pad, ' ');
    }
}

void AppendJsonPlanes(std::string& out, const double* v)
{
    const char* names[3] = {"{\"y\":", ",\"u\":", ",\"v\":"};
    for (int p = 0; p < 3; ++p) {
        out += names[p];
        AppendNumber(out, v[p], OutputFormat::Json);
    }
    out += '}';
}

void AppendJsonChroma(std::string& out, const double* v)
{
    out += ",\"ssim_u\":";
    AppendNumber(out, v[0], OutputFormat::Json);
    out += ",\"ssim_v\":";
    AppendNumber(out, v[1], OutputFormat::Json);
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

void IqaReportWriter::Flush()
{
    std::fwrite(line.data(), 1, line.size(), out);
    line.clear();
}

void IqaReportWriter::Begin()
{
    line.clear();
    if (options.format == OutputFormat::Json) {
        line += "{\"a\":" + JsonString(a.path) + ",\"b\":" + JsonString(b.path) +
                ",\"width\":" + std::to_string(a.width) + ",\"height\":" + std::to_string(a.height) +
                ",\"layout\":" + JsonString(a.layout.idName) + ",";
        if (a.layout != b.layout) {
            line += "\"layout_b\":" + JsonString(b.layout.idName) + ",";
        }
        line += std::string("\"range\":\"") + RangeName(options.range) + "\",\n";
        if (options.summaryOnly) {
            line += "\"frame_count\":" + std::to_string(frames) + ",\n";
        } else {
            line += "\"frames\":[";
        }
        Flush();
        return;
    }
    const bool csv = options.format == OutputFormat::Csv;
    if (csv) {
        line += "frame,mse_y,mse_u,mse_v,psnr_y,psnr_u,psnr_v,ssim";
        line += options.perPlaneSsim ? ",ssim_u,ssim_v\n" : "\n";
        Flush();
        return;
    }
    const std::string layout =
        a.layout == b.layout ? a.layout.idName : a.layout.idName + " vs " + b.layout.idName;
    line += "# " + OneLine(a.path) + " vs " + OneLine(b.path) + ": " + std::to_string(a.width) +
            "x" + std::to_string(a.height) + " " + layout + ", " + RangeName(options.range) +
            " range, " + std::to_string(frames) + " frames\n";
    AppendAligned(line, "frame", 9, true);
    const char* names[] = {"mse_y", "mse_u", "mse_v", "psnr_y", "psnr_u", "psnr_v", "ssim",
                           "ssim_u", "ssim_v"};
    const size_t widths[] = {12, 12, 12, 10, 10, 10, 9, 9, 9};
    for (size_t c = 0; c < (options.perPlaneSsim ? 9u : 7u); ++c) {
        line += ' ';
        AppendAligned(line, names[c], widths[c], false);
    }
    line += '\n';
    Flush();
}

void IqaReportWriter::Row(const std::string& label, const double* mse, const double* psnr,
                          double ssim, const double* ssimChroma)
{
    const OutputFormat format = options.format;
    const double values[9] = {mse[0],  mse[1],  mse[2],        psnr[0],      psnr[1],
                              psnr[2], ssim, ssimChroma[0], ssimChroma[1]};
    const size_t columns = options.perPlaneSsim ? 9 : 7;
    if (format == OutputFormat::Csv) {
        line += label;
        for (size_t c = 0; c < columns; ++c) {
            line += ',';
            AppendNumber(line, values[c], format);
        }
        line += '\n';
        Flush();
        return;
    }
    const size_t widths[] = {12, 12, 12, 10, 10, 10, 9, 9, 9};
    AppendAligned(line, label, 9, true);
    for (size_t c = 0; c < columns; ++c) {
        number.clear();
        AppendNumber(number, values[c], format);
        line += ' ';
        AppendAligned(line, number, widths[c], false);
    }
    line += '\n';
    Flush();
}

bool IqaReportWriter::Frame(int64_t index, const FrameScore& score)
{
    summary.Add(score);
    if (options.summaryOnly) {
        return true;
    }
    if (options.format == OutputFormat::Json) {
        line += index == 0 ? "\n{\"frame\":" : ",\n{\"frame\":";
        char digits[24];
        line.append(digits, std::to_chars(digits, digits + sizeof(digits), index).ptr);
        line += ",\"mse\":";
        AppendJsonPlanes(line, score.mse);
        line += ",\"psnr\":";
        AppendJsonPlanes(line, score.psnr);
        line += ",\"ssim\":";
        AppendNumber(line, score.ssim, OutputFormat::Json);
        if (options.perPlaneSsim) {
            AppendJsonChroma(line, score.ssimChroma);
        }
        line += '}';
        Flush();
        return std::ferror(out) == 0;
    }
    char digits[24];
    label.assign(digits, std::to_chars(digits, digits + sizeof(digits), index).ptr);
    Row(label, score.mse, score.psnr, score.ssim, score.ssimChroma);
    return std::ferror(out) == 0;
}

void IqaReportWriter::End()
{
    summary.Finish();
    const IqaSummary& sum = summary;
    if (options.format == OutputFormat::Json) {
        line += options.summaryOnly ? "" : "],\n";
        line += "\"average\":{\"mse\":";
        AppendJsonPlanes(line, sum.meanMse);
        line += ",\"psnr_of_mean_mse\":";
        AppendJsonPlanes(line, sum.psnrOfMeanMse);
        line += ",\"mean_psnr\":";
        AppendJsonPlanes(line, sum.meanPsnr);
        line += ",\"ssim\":";
        AppendNumber(line, sum.meanSsim, OutputFormat::Json);
        if (options.perPlaneSsim) {
            AppendJsonChroma(line, sum.meanSsimChroma);
        }
        line += "}}\n";
        Flush();
        return;
    }
    // avg_mse: PSNR of the mean MSE; avg_psnr: mean of the frames' PSNR.
    Row("avg_mse", sum.meanMse, sum.psnrOfMeanMse, sum.meanSsim, sum.meanSsimChroma);
    Row("avg_psnr", sum.meanMse, sum.meanPsnr, sum.meanSsim, sum.meanSsimChroma);
}

} // namespace lumo_iqa
