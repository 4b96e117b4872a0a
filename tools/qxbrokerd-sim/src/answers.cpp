// The part of Server that sends answers and events.

#include "server.h"

#include "text.h"

#include <memory>

namespace qx::sim {
namespace {

std::string bytes_of(const Content& content, const Delivery& delivery) {
    return content.kind == Content::Kind::raw ? content.bytes
                                              : frame(content.bytes, delivery.length);
}

Content nth(const Content& content, std::uint64_t n, const Run& run) {
    return {content.kind, run.is_numbered ? numbered(content.bytes, n) : content.bytes};
}

std::string described(const Content& content) {
    return content.kind == Content::Kind::raw
               ? concat({std::to_string(content.bytes.size()), " raw bytes"})
               : content.bytes;
}

} // namespace

void Server::answer(Client& client, std::string_view line) {
    trace_.client(client.id, "request", line);
    const Request request = parse_request(line);
    if (!request.fault.empty()) {
        const Reply refusal = Reply::failure(code::invalid_schema, request.fault);
        send_answer(client, refusal.text(), {}, false);
    } else if (request.type == Request::Type::subscribe) {
        answer_subscribe(client, request);
    } else {
        answer_command(client, request);
    }
}

void Server::answer_command(Client& client, const Request& request) {
    const Rule* rule = nullptr;
    for (const std::string_view name : {request.name, std::string_view("*")}) {
        const auto script = scenario_.commands.find(name);
        if (rule == nullptr && script != scenario_.commands.end()) {
            rule = script->second.next();
        }
    }
    if (rule != nullptr && rule->content) {
        send_content(client, *rule);
        return;
    }
    const Reply reply = execute(state_, request.name, request.data);
    send_answer(client, reply.text(), rule != nullptr ? rule->delivery : Delivery{},
                rule != nullptr);
    apply(reply);
}

void Server::answer_subscribe(Client& client, const Request& request) {
    const auto type = event_type(request.name);
    if (!type) {
        const std::string reason = concat({"unknown event '", request.name, "'"});
        send_answer(client, Reply::failure(code::invalid_params, reason).text(), {}, false);
        return;
    }
    const auto index = static_cast<std::size_t>(*type);
    const Rule* const rule = scenario_.subscriptions[index].next();
    if (rule != nullptr && rule->content) {
        send_content(client, *rule);
        return;
    }
    send_answer(client, Reply().text(), rule != nullptr ? rule->delivery : Delivery{},
                rule != nullptr);
    if (client.subscriptions.test(index)) {
        return;
    }
    client.subscriptions.set(index);
    for (const TimedEvent& event : scenario_.events) {
        if (event.on_subscribe && event.type == *type) {
            schedule(event, 0, Clock::now() + event.after, client.id);
        }
    }
}

void Server::send_answer(Client& client, std::string_view text, const Delivery& delivery,
                         bool scripted) {
    trace_.client(client.id, scripted ? "scripted answer" : "answer", text);
    send_frame(client, frame(text, delivery.length), delivery);
}

void Server::send_content(Client& client, const Rule& rule) {
    if (trace_.is_on()) {
        trace_.client(client.id, "scripted answer", described(*rule.content));
    }
    send_frame(client, bytes_of(*rule.content, rule.delivery), rule.delivery);
}

void Server::send_frame(Client& client, std::string_view bytes, const Delivery& delivery) {
    if (admits(client)) {
        client.output.add(bytes, delivery);
        queue(client);
    }
}

void Server::apply(const Reply& reply) {
    for (const Event& event : reply.events) {
        send_events(event.type, {Content{Content::Kind::text, event.text}, {}});
    }
    if (!reply.scan_time) {
        return;
    }
    // The timer of a stopped scan must not end a scan that was started later.
    timers_.add(Clock::now() + *reply.scan_time, [this, number = ++scan_number_] {
        if (number != scan_number_) {
            return;
        }
        if (const auto event = finish_scan(state_)) {
            send_events(event->type, {Content{Content::Kind::text, event->text}, {}});
        }
    });
}

void Server::send_events(EventType type, const Rule& rule, const Run& run, std::uint64_t only) {
    if (run.first > run.last) {
        return;
    }
    const auto make = [rule = std::make_shared<const Rule>(rule), run](std::uint64_t n) {
        return bytes_of(nth(*rule->content, n, run), rule->delivery);
    };
    const Series series{make, run.first, run.last};
    std::size_t count = 0;
    for (const auto& [id, client] : clients_) {
        const bool subscribes = client->subscriptions.test(static_cast<std::size_t>(type));
        if (subscribes && (only == kEveryClient || only == id) && admits(*client)) {
            client->output.add(series, rule.delivery);
            queue(*client);
            ++count;
        }
    }
    for (std::uint64_t n = run.first; trace_.is_on() && n <= run.last; ++n) {
        trace_.event(event_name(type), count, described(nth(*rule.content, n, run)));
    }
}

void Server::schedule(const TimedEvent& event, std::uint64_t sent, Clock::time_point when,
                      std::uint64_t only) {
    timers_.add(when, [this, &event, sent, when, only] { fire(event, sent, when, only); });
}

void Server::fire(const TimedEvent& event, std::uint64_t sent, Clock::time_point when,
                  std::uint64_t only) {
    if (only != kEveryClient && clients_.count(only) == 0) {
        return;
    }
    const std::uint64_t last = event.every.count() == 0 ? event.times : sent + 1;
    send_events(event.type, event.rule, {sent + 1, last, true}, only);
    if (event.times == 0 || last < event.times) {
        schedule(event, last, when + event.every, only);
    }
}

} // namespace qx::sim
