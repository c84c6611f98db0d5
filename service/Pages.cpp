#include "Pages.h"

namespace lumo_service {

std::string Pages::Escape(const std::string& text)
{
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        case '\'':
            out += "&#39;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

std::string Pages::Layout(const std::string& title, const std::string& body)
{
    return "<!DOCTYPE html>\n"
           "<html lang=\"zh-CN\">\n"
           "<head>\n"
           "<meta charset=\"utf-8\">\n"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
           "<title>"
        + title
        + " · YUV Lumo</title>\n"
          "<link rel=\"stylesheet\" href=\"/style.css\">\n"
          "</head>\n"
          "<body>\n"
          "<header><a class=\"brand\" href=\"/about\">YUV Lumo</a>\n"
          "<nav><a href=\"/register\">注册 <span lang=\"en\">Register</span></a>"
          "<a href=\"/download\">下载 <span lang=\"en\">Download</span></a>"
          "<a href=\"/about\">关于 <span lang=\"en\">About</span></a></nav></header>\n"
          "<main>\n"
        + body
        + "</main>\n"
          "</body>\n"
          "</html>\n";
}

std::string Pages::Register(const std::string& csrfValue, const std::string& email, const std::string& message)
{
    std::string body = "<h1>注册账号 <span lang=\"en\">Create an account</span></h1>\n"
                       "<p>用此账号在 YUV Lumo 中登录。<br><span lang=\"en\">Use this account to sign in to YUV "
                       "Lumo.</span></p>\n";
    if (!message.empty()) {
        body += "<p class=\"error\" id=\"message\" role=\"alert\">" + Escape(message) + "</p>\n";
    }
    body += "<form method=\"post\" action=\"/register\">\n"
            "<input type=\"hidden\" name=\"csrf\" value=\""
        + Escape(csrfValue)
        + "\">\n"
          "<label for=\"email\">邮箱 <span lang=\"en\">E-mail address</span></label>\n"
          "<input type=\"text\" id=\"email\" name=\"email\" inputmode=\"email\" autocomplete=\"email\" "
          "maxlength=\"254\" required value=\""
        + Escape(email)
        + "\">\n"
          "<label for=\"password\">密码 <span lang=\"en\">Password</span></label>\n"
          "<input type=\"password\" id=\"password\" name=\"password\" autocomplete=\"new-password\" required>\n"
          "<p class=\"hint\">至少 8 个字符，且不能与邮箱相同。<br><span lang=\"en\">At least 8 characters, and not "
          "your e-mail address.</span></p>\n"
          "<label for=\"password2\">再次输入密码 <span lang=\"en\">Password again</span></label>\n"
          "<input type=\"password\" id=\"password2\" name=\"password2\" autocomplete=\"new-password\" required>\n"
          "<button type=\"submit\" id=\"submit\">注册 <span lang=\"en\">Register</span></button>\n"
          "</form>\n"
          "<p class=\"aside\"><a href=\"/forgot\">忘记密码？<span lang=\"en\">Forgot your password?</span></a></p>\n";
    return Layout("注册 Register", body);
}

std::string Pages::Registered(const std::string& email)
{
    return Layout("注册成功 Registered",
                  "<h1 id=\"done\">注册成功 <span lang=\"en\">Account created</span></h1>\n"
                  "<p>现在可以在 YUV Lumo 中用 <strong>"
                      + Escape(email)
                      + "</strong> 和您的密码登录。<br><span lang=\"en\">You can now sign in to YUV Lumo with <strong>"
                      + Escape(email) + "</strong> and your password.</span></p>\n");
}

std::string Pages::Forgot()
{
    return Layout("忘记密码 Forgot password",
                  "<h1>忘记密码 <span lang=\"en\">Forgot your password?</span></h1>\n"
                  "<p>密码无法找回，只能重设。请写信给本服务的运营者（向您提供本服务地址的人），注明您注册用的邮箱。"
                  "运营者确认是您本人后，会为您设置新密码并告诉您。<br>"
                  "<span lang=\"en\">Passwords cannot be recovered, only reset. Write to the operator of this "
                  "service (whoever gave you its address) from the address you registered with. Once they know it "
                  "is you, they set a new password and tell you.</span></p>\n"
                  "<p>重设密码后，所有设备上的登录都会失效，请用新密码重新登录。<br>"
                  "<span lang=\"en\">A reset signs you out everywhere: sign in again with the new "
                  "password.</span></p>\n"
                  "<p class=\"aside\">运营者的命令 <span lang=\"en\">The operator's command</span>: "
                  "<code>lumo-service --data DIR user reset EMAIL</code></p>\n");
}

std::string Pages::About(const std::string& version)
{
    return Layout("关于 About",
                  "<h1>YUV Lumo</h1>\n"
                  "<p>YUV Lumo 是一款 Linux 桌面工具，用于查看和测量原始 YUV 视频：打开原始 YUV 文件或任何 FFmpeg "
                  "能解码的媒体文件，用 OpenGL 按所选色彩空间、范围和伽马显示画面，缩放、平移、框选区域，查看直方图，"
                  "并逐帧比较两个文件的 PSNR、MSE 和 SSIM。<br>"
                  "<span lang=\"en\">YUV Lumo is a Linux desktop tool for looking at and measuring raw YUV video: "
                  "open raw YUV files or any media FFmpeg decodes, draw frames through OpenGL with the colour space, "
                  "range and gamma you choose, zoom, pan and mark a region, watch histograms, and compare two files "
                  "frame by frame by PSNR, MSE and SSIM.</span></p>\n"
                  "<p>最新版本 <span lang=\"en\">Latest version</span>: <strong id=\"version\">"
                      + Escape(version)
                      + "</strong></p>\n"
                        "<p>本服务为 YUV Lumo 提供账号登录、问题反馈、版本检查和使用统计。<br>"
                        "<span lang=\"en\">This service gives YUV Lumo its accounts, feedback, version check and "
                        "usage reports.</span></p>\n");
}

std::string Pages::Download(const std::string& version)
{
    return Layout("下载 Download",
                  "<h1>下载 YUV Lumo <span lang=\"en\">Download</span></h1>\n"
                  "<p>最新版本 <span lang=\"en\">Latest version</span>: <strong id=\"version\">"
                      + Escape(version)
                      + "</strong></p>\n"
                        "<p>安装包由本服务的运营者提供，请向其索取此版本；也可以从源代码构建（<code>scripts/run-app</code>）。"
                        "<br><span lang=\"en\">The operator of this service hands out the packages: ask them for this "
                        "version, or build it from the source (<code>scripts/run-app</code>).</span></p>\n");
}

std::string Pages::Stylesheet()
{
    return "body{margin:0;font-family:\"WenQuanYi Micro Hei\",\"Noto Sans CJK SC\",\"Microsoft YaHei\","
           "sans-serif;background:#f4f5f7;color:#1d2330;line-height:1.5}\n"
           "header{display:flex;align-items:center;justify-content:space-between;padding:12px 32px;"
           "background:#1d2330}\n"
           "header a{color:#e8ebf2;text-decoration:none;margin-left:20px}\n"
           "header .brand{margin-left:0;font-weight:bold;font-size:1.2em}\n"
           "main{max-width:560px;margin:32px auto;padding:24px 32px;background:#fff;border-radius:8px;"
           "box-shadow:0 1px 4px rgba(0,0,0,.12)}\n"
           "h1{font-size:1.5em;margin-top:0}\n"
           "[lang=en]{color:#5a6270}\n"
           "h1 [lang=en]{font-size:.7em;font-weight:normal}\n"
           "a{color:#2f6fde}\n"
           "a [lang=en]{color:inherit}\n"
           "label{display:block;margin-top:16px;font-weight:bold}\n"
           "label [lang=en]{font-weight:normal}\n"
           "input{box-sizing:border-box;width:100%;padding:8px;margin-top:4px;font-size:1em;"
           "border:1px solid #b8bfcc;border-radius:4px}\n"
           "button{margin-top:24px;padding:10px 24px;font-size:1em;color:#fff;background:#2f6fde;border:0;"
           "border-radius:4px;cursor:pointer}\n"
           "button [lang=en]{color:#dce6fa}\n"
           ".hint{font-size:.85em;margin:4px 0 0}\n"
           ".error{padding:10px 12px;background:#fdecea;border-left:4px solid #d93025;color:#a50e0e}\n"
           ".error{white-space:pre-line}\n"
           ".aside{margin-top:24px;font-size:.9em}\n"
           "code{background:#eef0f4;padding:1px 4px;border-radius:3px}\n";
}

} // namespace lumo_service
