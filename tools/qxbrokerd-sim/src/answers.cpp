// What the server sends: answers to requests, and events.

#include "server.h"

#include "text.h"

namespace qx::sim {
namespace {

std::string bytes_of(const Content& content, const Delivery& delivery) {
    return content.kind == Content::Kind::raw ? content.bytes
                                              : frame(content.bytes, delivery.length);
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
    client.output.add(frame(text, delivery.length), delivery);
    queue(client);
}

void Server::send_content(Client& client, const Rule& rule) {
    if (trace_.is_on()) {
        trace_.client(client.id, "scripted answer", described(*rule.content));
    }
    client.output.add(bytes_of(*rule.content, rule.delivery), rule.delivery);
    queue(client);
}

void Server::apply(const Reply& reply) {
    for (const Event& event : reply.events) {
        broadcast(event.type, {Content{Content::Kind::text, event.text}, {}});
    }
    if (!reply.scan_time) {
        return;
    }
    // A scan that is stopped and started again must not be ended by the timer of the first.
    timers_.add(Clock::now() + *reply.scan_time, [this, number = ++scan_number_] {
        if (number != scan_number_) {
            return;
        }
        if (const auto event = finish_scan(state_)) {
            broadcast(event->type, {Content{Content::Kind::text, event->text}, {}});
        }
    });
}

void Server::broadcast(EventType type, const Rule& rule) {
    const std::string bytes = bytes_of(*rule.content, rule.delivery);
    std::size_t count = 0;
    for (const auto& [id, client] : clients_) {
        if (client->subscriptions.test(static_cast<std::size_t>(type))) {
            client->output.add(bytes, rule.delivery);
            queue(*client);
            ++count;
        }
    }
    if (trace_.is_on()) {
        trace_.event(event_name(type), count, described(*rule.content));
    }
}

void Server::schedule(const TimedEvent& event, std::uint64_t sent, Clock::time_point when,
                      std::uint64_t only) {
    timers_.add(when, [this, &event, sent, when, only] { fire(event, sent, when, only); });
}

void Server::fire(const TimedEvent& event, std::uint64_t sent, Clock::time_point when,
                  std::uint64_t only) {
    const auto found = clients_.find(only);
    if (only != kEveryClient && found == clients_.end()) {
        return;
    }
    do {
        Rule rule = event.rule;
        rule.content->bytes = numbered(rule.content->bytes, ++sent);
        if (only == kEveryClient) {
            broadcast(event.type, rule);
            continue;
        }
        if (trace_.is_on()) {
            trace_.event(event_name(event.type), 1, described(*rule.content));
        }
        found->second->output.add(bytes_of(*rule.content, rule.delivery), rule.delivery);
        queue(*found->second);
    } while (event.every.count() == 0 && sent < event.times);
    if (event.times == 0 || sent < event.times) {
        schedule(event, sent, when + event.every, only);
    }
}

} // namespace qx::sim
