// lumo-service's handlers called in-process, without a server or TLS, on a
// request built from each input: the route (every method and path the
// service answers), the content type, how the body arrives (a stated length,
// chunks, no body at all, a connection that drops before the body ends, which
// the server never hands to a handler), the cookies, the sender's address, a
// step of the service's clock, the query and the body.
// The store is a real SQLite database in a folder of the process's own, made
// as the service makes it, with an account and a disabled one from the
// start; passwords are hashed at Argon2id's least cost.
//
// Besides not crashing: every status is one the service answers with, no
// answer is larger than kMaxAnswerBytes, every answer is UTF-8, API answers
// are JSON objects with an integer "code" (the HTTP status itself unless
// that is 200), a body over 64 KiB is refused with 413, a body the form
// reader refuses is refused by every form endpoint, a sign-up post without
// the CSRF cookie is refused, the sign-up page's markup never depends on
// what was posted, what an answer 200 confirms is in the store (the event,
// the feedback, the account, a session that checks), and the form reader
// either names its problem in a short sentence or gives fields that encode
// and read back the same.
//
// Input: route, flags, address, clock step, a byte once the chunk size
// (kept, so the corpus stays valid; the server reads a body whole before the
// handler runs), padding, then the
// query up to the first NUL and the body after it (all of it is the body
// when there is no NUL). "$TOKEN", "$CSRF", "$EMAIL", "$DISABLED" and
// "$PASSWORD" in either are replaced by the token of a session issued before
// the clock's step, the form value that goes with this request's CSRF
// cookie, the e-mails of the account and of a disabled one, and their
// password.

#include "FuzzCheck.h"
#include "FuzzInput.h"

#include "Accounts.h"
#include "ApiHandlers.h"
#include "AppVersions.h"
#include "CredentialRules.h"
#include "CsrfGuard.h"
#include "EventQuota.h"
#include "FormBody.h"
#include "FormRequest.h"
#include "PageHandlers.h"
#include "Pages.h"
#include "PasswordHasher.h"
#include "Route.h"
#include "ServiceClock.h"
#include "SessionToken.h"
#include "Sessions.h"
#include "SqliteStore.h"

#include <sodium.h>

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QJsonValue>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <signal.h>
#include <unistd.h>

namespace {

using namespace lumo_service;
using lumo_fuzz::Check;
using lumo_fuzz::ValidUtf8;

constexpr const char* kEmail = "ann@example.com";
constexpr const char* kDisabledEmail = "off@example.com";
constexpr const char* kPassword = "correct horse";
// The largest page is a few KiB; an answer past this echoes input it should
// not.
constexpr size_t kMaxAnswerBytes = 16 * 1024;
// The form reader's reasons are short English sentences.
constexpr size_t kMaxProblemBytes = 200;
constexpr const char* kFolderPrefix = "lumo-fuzz-service-";
// What the form guard derives its key from, in place of a TLS key file.
constexpr const char* kKeyMaterial = "fuzz_service's stand-in for a private key";
// The database is made anew past this size, so long runs stay in memory.
constexpr uintmax_t kMaxDatabaseBytes = 64u << 20;

// The service's objects over one database file, wired as main() wires them,
// with an account and a disabled one made up front.
struct Service {
    Service(const std::string& path, const ServiceClock& clock)
        : store(Open(path))
        , hasher(PasswordHasher::Least())
        , sessions(*store, clock)
        , accounts(*store, hasher, sessions, clock)
        , versions(*store)
        , quota(*store, clock, std::filesystem::path(path).parent_path().string(), 0)
        , csrf(*store, clock, kKeyMaterial)
        , api(accounts, sessions, *store, versions, quota, clock)
        , pages(accounts, versions, csrf)
    {
        routes = api.Routes();
        apiRoutes = routes.size();
        for (Route& route : pages.Routes()) {
            routes.push_back(std::move(route));
        }
        int64_t retryAfter = 0;
        int ended = 0;
        Account account;
        Check(accounts.Register(kEmail, kPassword, std::string(), retryAfter) == AccountResult::Ok);
        Check(accounts.Register(kDisabledEmail, kPassword, std::string(), retryAfter) == AccountResult::Ok);
        Check(accounts.Disable(kDisabledEmail, ended) == AccountResult::Ok);
        Check(store->FindAccount(kEmail, account) == StoreStatus::Ok);
        accountId = account.id;
        Check(store->SetVersion("Other_app-2.x", "1.2.3.4", clock.Now()) == StoreStatus::Ok);
    }

    static std::unique_ptr<SqliteStore> Open(const std::string& path)
    {
        std::string error;
        std::unique_ptr<SqliteStore> store = SqliteStore::Open(path, error);
        if (!store) {
            std::fprintf(stderr, "fuzz_service: %s\n", error.c_str());
            std::abort();
        }
        return store;
    }

    std::unique_ptr<SqliteStore> store;
    PasswordHasher hasher;
    Sessions sessions;
    Accounts accounts;
    AppVersions versions;
    EventQuota quota;
    CsrfGuard csrf;
    ApiHandlers api;
    PageHandlers pages;
    std::vector<Route> routes; // the API's first
    size_t apiRoutes = 0;
    int64_t accountId = 0; // kEmail's
};

// The folder, the clock and the service, once per process.
struct World {
    World()
    {
        // In memory where there is such a place; named after the process,
        // so a later run can remove what a crashed one left.
        std::string parent = "/dev/shm";
        if (!std::filesystem::is_directory(parent)) {
            parent = std::filesystem::temp_directory_path().string();
        }
        RemoveLeftovers(parent);
        std::string pattern = parent + "/" + kFolderPrefix + std::to_string(getpid()) + "-XXXXXX";
        Check(mkdtemp(&pattern[0]) != nullptr);
        folder = pattern;
        offsetFile = folder + "/clock-offset";
        clock = std::make_unique<ServiceClock>(offsetFile);
        Renew();
    }

    ~World()
    {
        service.reset();
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }

    // Folders of processes that are gone: a crash ends a run without
    // clean-up.
    static void RemoveLeftovers(const std::string& parent)
    {
        std::error_code error;
        for (const auto& entry : std::filesystem::directory_iterator(parent, error)) {
            const std::string name = entry.path().filename().string();
            if (name.rfind(kFolderPrefix, 0) != 0) {
                continue;
            }
            const long pid = std::strtol(name.c_str() + std::strlen(kFolderPrefix), nullptr, 10);
            if (pid > 0 && kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH) {
                std::filesystem::remove_all(entry.path(), error);
            }
        }
    }

    std::string Database() const { return folder + "/lumo.db"; }

    void Renew()
    {
        service.reset();
        for (const char* suffix : {"", "-wal", "-shm"}) {
            std::remove((Database() + suffix).c_str());
        }
        service = std::make_unique<Service>(Database(), *clock);
    }

    void RenewIfLarge()
    {
        std::error_code error;
        uintmax_t bytes = 0;
        for (const char* suffix : {"", "-wal"}) {
            const uintmax_t size = std::filesystem::file_size(Database() + suffix, error);
            bytes += error ? 0 : size;
        }
        if (bytes > kMaxDatabaseBytes) {
            Renew();
        }
    }

    // Time only moves forward, as the tests move it: through the offset file
    // the service's clock reads.
    void Advance(int64_t seconds)
    {
        offset += seconds;
        std::ofstream(offsetFile, std::ios::trunc) << offset;
    }

    std::string folder;
    std::string offsetFile;
    int64_t offset = 0;
    std::unique_ptr<ServiceClock> clock;
    std::unique_ptr<Service> service;
    unsigned inputs = 0;
};

World* world = nullptr;

enum class ContentType { Form, FormWithCharset, Other, None };
enum class Transfer { Length, Chunked, None, LengthThenDrop };
enum class Cookie { None, Alone, AmongOthers, OfAnotherForm };

void Replace(std::string& text, const std::string& from, const std::string& to)
{
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

// Grows the body with unit (whole units, then 'x') to a length around a
// limit of the service: of the last field's value, or of the whole body.
// Most choices leave it as it is: long bodies cost most of the time.
void Pad(std::string& body, uint8_t choice)
{
    static const size_t kValueLengths[] = {
        64, 65, 128, 129, 254, 255, 1024, 1025, 4000, 4001, 16000, 16001, 16384, 16385,
    };
    static const size_t kBodyLengths[] = {65535, 65536, 65537, 131072};
    static const char* const kUnits[] = {"x", "%41", "\xe4\xb8\xad", "+"};
    constexpr size_t kValues = sizeof kValueLengths / sizeof kValueLengths[0];
    constexpr size_t kBodies = sizeof kBodyLengths / sizeof kBodyLengths[0];
    const size_t pick = choice % 64;
    if (pick >= kValues + kBodies) {
        return;
    }
    const std::string unit = kUnits[choice / 64];
    const size_t separator = body.find_last_of("=&");
    const size_t base = pick < kValues ? (separator == std::string::npos ? 0 : separator + 1) : 0;
    const size_t target = base + (pick < kValues ? kValueLengths[pick] : kBodyLengths[pick - kValues]);
    while (body.size() + unit.size() <= target) {
        body += unit;
    }
    body.resize(std::max(body.size(), target), 'x');
}

// Most inputs leave the clock alone; the others step it to either side of
// the service's windows: a session's touch every minute, the throttles' 15
// minutes and hour, a session's 30 days.
int64_t ClockStep(uint8_t choice)
{
    constexpr int64_t kDay = 86400;
    static const int64_t kSteps[] = {
        1, 59, 60, 61, 899, 900, 901, 3600, 3601, kDay, 29 * kDay, 30 * kDay - 1, 30 * kDay, 30 * kDay + 1,
        31 * kDay, 400 * kDay,
    };
    return choice < 240 ? 0 : kSteps[choice - 240];
}

std::string PercentEncoded(const std::string& text)
{
    static const char* const kHex = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : text) {
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '.'
            || c == '_' || c == '~') {
            out += static_cast<char>(c);
        } else if (c == ' ') {
            out += '+';
        } else {
            out += '%';
            out += kHex[c >> 4];
            out += kHex[c & 15];
        }
    }
    return out;
}

// The form reader refuses with a reason, or its fields are names and values
// of UTF-8 without NUL that, encoded again, read back the same.
bool CheckFormReader(const std::string& body, std::map<std::string, std::string>& fields)
{
    std::string problem;
    if (!FormBody::Parse(body, fields, problem)) {
        Check(!problem.empty() && problem.size() <= kMaxProblemBytes && ValidUtf8(problem));
        return false;
    }
    Check(fields.size() <= FormBody::kMaxFields);
    std::string encoded;
    for (const auto& field : fields) {
        Check(!field.first.empty());
        for (const std::string* text : {&field.first, &field.second}) {
            Check(ValidUtf8(*text) && text->find('\0') == std::string::npos);
        }
        encoded += (encoded.empty() ? "" : "&") + PercentEncoded(field.first) + "=" + PercentEncoded(field.second);
    }
    std::map<std::string, std::string> again;
    Check(FormBody::Parse(encoded, again, problem) && again == fields);
    return true;
}

// A JSON object with an integer "code" and a text "message"; the code.
int JsonCode(const std::string& body, QJsonObject& object)
{
    for (unsigned char c : body) {
        Check(c >= 0x20); // compact JSON: control characters only escaped
    }
    QJsonParseError error;
    const QByteArray bytes(body.data(), static_cast<int>(body.size()));
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    Check(error.error == QJsonParseError::NoError && document.isObject());
    object = document.object();
    Check(object.value("code").isDouble() && object.value("message").isString());
    const double code = object.value("code").toDouble();
    Check(code == std::floor(code) && code >= 100 && code <= 599);
    return static_cast<int>(code);
}

// How many '<' and '"' a page has: its markup, which escaped input never adds to.
std::pair<size_t, size_t> Markup(const std::string& html)
{
    return {static_cast<size_t>(std::count(html.begin(), html.end(), '<')),
            static_cast<size_t>(std::count(html.begin(), html.end(), '"'))};
}

// An outcome 200 means the row is in the store: the newest event or
// feedback is the one just sent, and a new session belongs to a token that
// checks.
void CheckStored(Service& service, const std::string& path, const std::map<std::string, std::string>& fields,
                 const QJsonObject& json)
{
    const auto field = [&fields](const char* name) { return fields.at(name); };
    if (path == "/lumo/user/anchor/anchor") {
        std::vector<UsageEvent> events;
        Check(service.store->ForEachEvent(1, [&events](const UsageEvent& event) { events.push_back(event); })
                  == StoreStatus::Ok
              && events.size() == 1);
        const UsageEvent& e = events[0];
        Check(e.type == field("type") && e.version == field("version") && e.platform == field("platform")
              && e.app == field("app") && e.page == field("page") && e.block == field("block")
              && e.action == field("action") && e.info == field("info"));
    } else if (path == "/lumo/user/feedback/send") {
        std::vector<FeedbackEntry> entries;
        Check(service.store->ListFeedback(1, entries) == StoreStatus::Ok && entries.size() == 1);
        Check(entries[0].text == field("feedback"));
    } else if (path == "/lumo/user/login/login") {
        const std::string token = json.value("model").toObject().value("token").toString().toStdString();
        int64_t accountId = 0;
        Check(SessionToken::LooksValid(token) && service.sessions.Check(token, accountId) == SessionState::Valid);
    }
}

bool StartsWith(const std::string& text, const char* prefix)
{
    return text.rfind(prefix, 0) == 0;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    Check(sodium_init() >= 0);
    world = new World;
    std::atexit([] {
        delete world;
        world = nullptr;
    });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (++world->inputs % 1024 == 0) {
        world->RenewIfLarge();
    }
    Service& service = *world->service;
    lumo_fuzz::FuzzInput in(data, size);
    const size_t routeIndex = in.Byte() % service.routes.size();
    const Route& route = service.routes[routeIndex];
    const bool api = routeIndex < service.apiRoutes;
    const uint8_t flags = in.Byte();
    const auto contentType = static_cast<ContentType>(flags & 3);
    const auto transfer = static_cast<Transfer>((flags >> 2) & 3);
    const auto cookie = static_cast<Cookie>((flags >> 4) & 3);
    const uint8_t address = in.Byte();
    const int64_t step = ClockStep(in.Byte());
    in.Byte();
    const uint8_t padding = in.Byte();
    const std::string rest(reinterpret_cast<const char*>(in.Rest()), in.RestSize());
    std::string token;
    if (rest.find("$TOKEN") != std::string::npos) {
        Check(service.sessions.Issue(service.accountId, token) == StoreStatus::Ok);
    }
    if (step != 0) {
        world->Advance(step);
    }
    const size_t nul = rest.find('\0');
    std::string query = nul == std::string::npos ? std::string() : rest.substr(0, nul);
    std::string body = nul == std::string::npos ? rest : rest.substr(nul + 1);

    std::string cookieValue, formValue, otherCookie, otherForm;
    service.csrf.Issue(cookieValue, formValue);
    service.csrf.Issue(otherCookie, otherForm);
    for (std::string* text : {&query, &body}) {
        Replace(*text, "$TOKEN", token);
        Replace(*text, "$CSRF", formValue);
        Replace(*text, "$EMAIL", kEmail);
        Replace(*text, "$DISABLED", kDisabledEmail);
        Replace(*text, "$PASSWORD", kPassword);
    }
    Pad(body, padding);

    if (transfer == Transfer::LengthThenDrop) {
        return 0;
    }
    HttpRequest request;
    request.method = route.method;
    request.path = route.path;
    request.remoteAddress = address == 0 ? "::1" : "127.0.0." + std::to_string(address);
    std::string queryProblem;
    if (!FormBody::Parse(query, request.query, queryProblem)) {
        request.query.clear();
    }
    switch (contentType) {
    case ContentType::Form:
        request.headers.emplace_back("Content-Type", "application/x-www-form-urlencoded");
        break;
    case ContentType::FormWithCharset:
        request.headers.emplace_back("Content-Type", " Application/X-WWW-Form-URLencoded ; charset=UTF-8");
        break;
    case ContentType::Other:
        request.headers.emplace_back("Content-Type", "text/plain");
        break;
    case ContentType::None:
        break;
    }
    if (transfer == Transfer::Length) {
        request.headers.emplace_back("Content-Length", std::to_string(body.size()));
    } else if (transfer == Transfer::Chunked) {
        request.headers.emplace_back("Transfer-Encoding", "chunked");
    }
    const std::string cookieName = CsrfGuard::kCookieName;
    switch (cookie) {
    case Cookie::None:
        break;
    case Cookie::Alone:
        request.headers.emplace_back("Cookie", cookieName + "=" + cookieValue);
        break;
    case Cookie::AmongOthers:
        request.headers.emplace_back("Cookie", "theme=dark; " + cookieName + "=" + cookieValue + "; lang=zh");
        break;
    case Cookie::OfAnotherForm:
        request.headers.emplace_back("Cookie", cookieName + "=" + otherCookie);
        break;
    }
    if (transfer != Transfer::None) {
        request.body = body;
    }

    HttpResponse response;
    route.handler(request, response);

    std::map<std::string, std::string> fields;
    const bool formParses = CheckFormReader(transfer == Transfer::None ? std::string() : body, fields);

    Check(response.body.size() <= kMaxAnswerBytes);
    Check(ValidUtf8(response.body));
    std::string type;
    for (const auto& header : response.headers) {
        if (header.first == "Content-Type") {
            type = header.second;
        }
    }
    const int status = response.status;
    if (StartsWith(type, "application/json")) {
        QJsonObject json;
        const int code = JsonCode(response.body, json);
        if (status == 200) {
            static const std::set<int> kOutcomes = {200, 400, 401, 403, 404, 413, 429, 501, 502};
            Check(kOutcomes.count(code) == 1);
        } else {
            static const std::set<int> kRefusals = {400, 405, 413, 415, 429};
            Check(code == status && kRefusals.count(status) == 1);
        }
        if (status == 200 && code == 200) {
            CheckStored(service, route.path, fields, json);
        }
    } else {
        Check(!api);
        if (route.method == "POST" && status == 200) {
            Account account;
            Check(service.store->FindAccount(CredentialRules::NormalizeEmail(fields["email"]), account)
                  == StoreStatus::Ok);
        }
        static const std::set<int> kPageStatuses = {200, 400, 403, 409, 429};
        Check(kPageStatuses.count(status) == 1);
        Check(StartsWith(type, route.path == "/style.css" ? "text/css" : "text/html"));
    }

    if (route.method == "POST") {
        // What the form reader must refuse, every form endpoint refuses.
        const bool formType = contentType == ContentType::Form || contentType == ContentType::FormWithCharset;
        if (transfer != Transfer::None && body.size() > FormRequest::kMaxBodyBytes) {
            Check(status == 413);
        } else if (!formType) {
            Check(status == 415);
        } else if (!formParses) {
            Check(status == 400);
        } else if (route.path == "/register") {
            const std::string& csrf = fields["csrf"];
            if (cookie == Cookie::None || cookie == Cookie::OfAnotherForm) {
                Check(status == 403);
            } else if (csrf == formValue) {
                Check(status != 403);
            }
        }
    }
    if (route.path == "/register" && StartsWith(type, "text/html")) {
        static const std::set<std::pair<size_t, size_t>> kMarkups = {
            Markup(Pages::Register(std::string(64, '0'), std::string(), std::string())),
            Markup(Pages::Register(std::string(64, '0'), std::string(), "message")),
            Markup(Pages::Registered(std::string())),
        };
        Check(kMarkups.count(Markup(response.body)) == 1);
    }
    return 0;
}
