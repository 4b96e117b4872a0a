// The broker: one thread, one epoll set, any number of clients.
#pragma once

#include "base/descriptor.h"
#include "client.h"
#include "commands.h"
#include "console.h"
#include "options.h"
#include "presence.h"
#include "request.h"
#include "scenario.h"
#include "timers.h"
#include "trace.h"

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace qx::sim {

/// The numbers of an event that is sent several times. If `is_numbered` is set, the number replaces
/// "%n" in the event.
struct Run {
    std::uint64_t first = 1;
    std::uint64_t last = 1;
    bool is_numbered = false;
};

class Server {
public:
    /// The scenario's changes must already be applied to `state`.
    Server(const Options& options, Scenario scenario, State state);

    /// Serves until SIGINT, SIGTERM, SIGHUP or SIGQUIT. Throws Failure if the broker cannot listen
    /// or write its version file, at the start or after a restart.
    void run();

private:
    // Ids in epoll records. Client ids count up from 1; the other ids count down from the maximum.
    static constexpr std::uint64_t kListener = UINT64_MAX;
    static constexpr std::uint64_t kSignals = UINT64_MAX - 1;
    static constexpr std::uint64_t kConsole = UINT64_MAX - 2;
    // Stands for all clients; never in an epoll record.
    static constexpr std::uint64_t kEveryClient = 0;

    // server.cpp
    void watch(int fd, std::uint64_t id, unsigned events) const;
    void appear();
    void vanish(Milliseconds down);
    void handle(std::uint64_t id, unsigned events);
    void watch_console();
    void read_console();
    void obey(std::string_view line);

    // connections.cpp
    void accept_clients();
    void refuse_clients();
    void pause_accepting();
    void add_client(io::descriptor fd);
    void serve(Client& client, unsigned events);
    void receive(Client& client);
    void answer_lines(Client& client);
    void limit_unanswered(Client& client);
    bool admits(Client& client);
    void give_up(Client& client, std::string_view reason);
    [[nodiscard]] std::uint64_t largest_holder(Share Client::*share) const;
    void update_interest(Client& client) const;
    void close_client(std::uint64_t id, std::string_view reason = {});
    void drop_clients();
    void queue(Client& client);
    void flush_queued();
    void flush(Client& client);
    void follow(Client& client, const Progress& progress);

    // answers.cpp
    void answer(Client& client, std::string_view line);
    void answer_command(Client& client, const Request& request);
    void answer_subscribe(Client& client, const Request& request);
    void send_answer(Client& client, std::string_view text, const Delivery& delivery,
                     bool scripted);
    void send_content(Client& client, const Rule& rule);
    void apply(const Reply& reply);

    void send_frame(Client& client, std::string_view bytes, const Delivery& delivery);
    /// Sends the events of `run` to the client `only`, or to every subscriber.
    void send_events(EventType type, const Rule& rule, const Run& run = {},
                     std::uint64_t only = kEveryClient);
    void schedule(const TimedEvent& event, std::uint64_t sent, Clock::time_point when,
                  std::uint64_t only);
    void fire(const TimedEvent& event, std::uint64_t sent, Clock::time_point when,
              std::uint64_t only);

    std::string install_dir_;
    Trace trace_;
    Scenario scenario_;
    State state_;
    std::uint64_t scan_number_ = 0;

    io::descriptor epoll_;
    io::descriptor signals_;
    std::optional<Presence> presence_;
    std::uint64_t restarts_ = 0;
    bool ended_ = false;
    io::descriptor spare_; ///< a reserve for refuse_clients(), when descriptors run out
    bool accepts_ = true;  ///< false while the listener is not watched

    Totals totals_;
    std::unordered_map<std::uint64_t, std::unique_ptr<Client>> clients_;
    std::uint64_t next_client_ = 1;
    std::vector<std::uint64_t> queued_; ///< clients that flush_queued() flushes
    Timers timers_;
    LineReader console_;
    bool console_ended_ = false;
    std::array<char, 65536> scratch_{};
};

} // namespace qx::sim
