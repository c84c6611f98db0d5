#ifndef LUMO_SERVICE_ROUTE_H
#define LUMO_SERVICE_ROUTE_H

#include <httplib.h>

#include <string>
#include <vector>

namespace lumo_service {

// One method and path the service answers, with its handler. The handler
// classes list theirs; the server installs them, and the fuzzer calls the
// same handlers in-process with requests it builds itself.
struct Route {
    static Route Get(std::string path, httplib::Server::Handler handler);
    // The handler reads the body itself (FormRequest), within the limit.
    static Route Post(std::string path, httplib::Server::HandlerWithContentReader handler);
    static void Install(httplib::Server& server, const std::vector<Route>& routes);

    bool post = false;
    std::string path;
    httplib::Server::Handler get;                   // GET routes
    httplib::Server::HandlerWithContentReader read; // POST routes
};

} // namespace lumo_service

#endif
