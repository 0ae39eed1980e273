// SPDX-License-Identifier: MIT
#include "daemon/connection.h"

#include <algorithm>
#include <utility>

namespace varnel::daemon {

namespace {

// Messages of several packets that are being sent at a time; the others wait in the queue.
constexpr std::uint32_t kMostUnderWay = 4;

// Most answers are as short as this; a long one's memory is not kept.
constexpr std::size_t kLargestSpare = PACKET_PAYLOAD_MAX;

constexpr std::uint64_t kMillisecondsPerSecond = 1000;

// A list walks the whole layer, which takes milliseconds when there are tens of thousands of values: between so much
// time of a connection's long requests others come in. Short ones, such as most changes, are best done together.
using Clock = ConnectionOwner::Clock;
constexpr Clock::duration kLongRequest = std::chrono::microseconds(200);
constexpr Clock::duration kShare = std::chrono::milliseconds(2);

bool is_request_id(std::uint32_t id) {
    return id != 0 && id < protocol::kFirstEventId;
}

protocol::EndpointBounds bounds_of(const Limits &limits) {
    // A request that is a little over the limit of bytes arrives, and is answered; one that is far over it ends the
    // connection.
    return {std::size_t{limits[Limit::packets]} * PACKET_PAYLOAD_MAX, limits[Limit::packets],
            limits[Limit::unfinished]};
}

} // namespace

std::optional<protocol::PacketHeader> Connection::header_of_datagram(std::span<const std::uint8_t> datagram,
                                                                     const Limits &limits) {
    const auto header = protocol::Endpoint::header_of_datagram(datagram, bounds_of(limits));
    return header && (header->acknowledges() || is_request_id(header->id)) ? header : std::nullopt;
}

Connection::Connection(Engine &engine, ConnectionOwner &owner, ConnectionNumber number, std::string description,
                       client *record)
    : Session(number, std::move(description)), engine_(engine), owner_(owner),
      endpoint_(record, bounds_of(engine.limits()), *this), next_event_id_(protocol::kFirstEventId),
      last_heard_(engine.now()), last_moved_(last_heard_) {
    engine_.add(*this);
}

Connection::~Connection() {
    part();
}

void Connection::part() {
    if (!std::exchange(parted_, true)) {
        engine_.remove(*this);
        owner_.keeps(std::exchange(kept_, {}), {});
    }
    doomed_ = true;
    gone_ = false;
}

void Connection::doom(const std::string &why) {
    if (!std::exchange(doomed_, true))
        owner_.doom(*this, why);
}

// What no client does is the end of a connection, but not of one over datagrams, which others could bring about.
void Connection::misused(const std::string &how) {
    if (is_datagram())
        ++engine_.statistics().ignored;
    else
        doom(how);
}

bool Connection::has_room() {
    if (blocked_ || doomed_)
        return false;
    blocked_ = !take_room();
    if (blocked_)
        wait_for_room();
    return !blocked_;
}

// ---- receiving

void Connection::deliver(std::uint32_t id, protocol::Bytes &bytes) {
    if (doomed_)
        return;
    if (!is_request_id(id))
        return misused("it uses " + std::to_string(id) + " as the id of a request");
    if (endpoint_.is_sending(id))
        return misused("it uses " + std::to_string(id) +
                       " as the id of a request again, whose answer it has not taken");
    if (is_datagram() && !Engine::only_reads(bytes) && !repeats_.is_new(id, bytes))
        return misused("it repeats a request");
    if (may_handle())
        handle_now(id, bytes);
    else
        hold(id, bytes);
}

void Connection::handle_now(std::uint32_t id, protocol::Bytes &bytes) {
    if (!Engine::may_take_long(bytes))
        return engine_.handle(*this, id, bytes); // to read the clock twice would be a part of its time
    const Clock::time_point begin = owner_.clock();
    engine_.handle(*this, id, bytes);
    const Clock::duration taken = owner_.clock() - begin;
    if (taken < kLongRequest)
        return;
    spent_ += taken;
    if (spent_ < kShare || std::exchange(resting_, true))
        return;
    owner_.rest(*this);
}

void Connection::count_kept() {
    if (parted_)
        return;
    const Kept now{queue_bytes_ + held_bytes_ + staged_bytes() + endpoint_.kept_bytes(), event_bytes()};
    if (now != kept_)
        owner_.keeps(std::exchange(kept_, now), now);
}

void Connection::give_events_up() {
    engine_.statistics().lost += drop_events();
    count_kept();
    owe();
}

bool Connection::go_on() {
    resting_ = false;
    spent_ = {};
    const std::size_t before = held_.size();
    handle_held();
    watch();
    last_moved_ = engine_.now(); // it was the daemon that did not go on
    count_kept();
    return held_.size() != before;
}

void Connection::finish() {
    finishing_ = true;
    if (!held_.empty())
        owe();
}

// Whether a request is handled at once. While answers wait, acknowledgements must still be read, and there are requests
// before them: those are kept, and handled when there is a place for their answers. So are those behind one that waits
// for the storage, whose answers would all come at once, and those of a connection that rests.
bool Connection::may_handle() {
    if (held_.empty() && !has_deferred() && !resting_ && !queue_has_place())
        pump(); // the client may take answers: it has not been offered any in this turn
    return !doomed_ && held_.empty() && !has_deferred() && !resting_ && queue_has_place();
}

bool Connection::held_is_over() const {
    const Limits &limits = engine_.limits();
    return held_bytes_ > limits[Limit::queue_bytes] || held_.size() >= limits[Limit::queue_messages];
}

void Connection::hold(std::uint32_t id, const protocol::Bytes &bytes) {
    if (held_is_over() && resting_ && is_datagram())
        return misused("more requests than are kept for it");
    // What is deferred ends with this turn, and then there is a place; one that rests is not read any more.
    if (held_is_over() && !has_deferred() && !resting_)
        return doom("it does not take its answers");
    held_bytes_ += bytes.size();
    held_.push_back({id, bytes});
    owe();
}

void Connection::handle_held() {
    const std::size_t before = held_.size();
    const auto may_go_on = [this] { return gone_ || (!doomed_ && (!resting_ || finishing_) && queue_has_place()); };
    while (!held_.empty() && !has_deferred() && may_go_on()) {
        Held next = std::move(held_.front());
        held_.pop_front();
        held_bytes_ -= next.bytes.size();
        handle_now(next.id, next.bytes);
    }
    if (held_.size() != before)
        owe(); // there may be a place for more of them now
}

void Connection::proceed(std::span<const std::uint8_t> bytes) {
    try {
        bytes = bytes.subspan(endpoint_.take(bytes.data(), bytes.size()));
        if (!bytes.empty())
            endpoint_.put(bytes.data(), bytes.size());
        endpoint_.proceed();
        if (!queue_.empty() || has_events())
            owe(); // an acknowledgement may have made room
    } catch (const protocol::Malformed &malformed) {
        misused(std::string("it sent ") + malformed.what());
    }
    count_kept();
}

void Connection::receive(const std::uint8_t *data, std::size_t size, std::uint64_t now) {
    last_heard_ = last_moved_ = now;
    proceed({data, size});
}

void Connection::receive_datagram(const std::uint8_t *data, std::size_t size, std::uint64_t now) {
    receive(data, size, now);
    endpoint_.forget_rest();
}

void Connection::resume(std::uint64_t now) {
    blocked_ = false;
    last_moved_ = now;
    proceed({});
}

// ---- sending

bool Connection::can_start() {
    return endpoint_.sending() < kMostUnderWay && has_room();
}

void Connection::start(std::uint32_t id, std::span<const std::uint8_t> bytes) {
    if (endpoint_.sending() != 0 && endpoint_.is_sending(id))
        return misused("it has used " + std::to_string(id) + " as the id of two requests");
    gone_ = !endpoint_.send(id, bytes);
    if (gone_)
        doom("its socket takes no more");
}

bool Connection::queue_is_over() const {
    const Limits &limits = engine_.limits();
    return queue_bytes_ > limits[Limit::queue_bytes] || queue_.size() > limits[Limit::queue_messages];
}

// For the largest answer that there is in practice. When memory is short for all, there is one at a time, taken or not.
bool Connection::queue_has_place() const {
    const Limits &limits = engine_.limits();
    const bool is_first = queue_.empty() && answers_under_way() == 0;
    return (is_first || !owner_.is_full()) && queue_bytes_ + protocol::kLeastQueueBytes <= limits[Limit::queue_bytes] &&
           queue_.size() < limits[Limit::queue_messages];
}

void Connection::answer(std::uint32_t request, const protocol::Message &message) {
    if (doomed_)
        return;
    if (is_drained())
        last_moved_ = engine_.now(); // the time to take answers begins here: this one may have been waited for
    protocol::Bytes bytes = std::exchange(spare_, {});
    message.encode(bytes);
    queue_bytes_ += bytes.size();
    queue_.push_back({request, std::move(bytes)});
    if (queue_is_over())
        pump(); // the client may take them: it has not been offered any in this turn
    if (queue_is_over())
        return doom("it does not take its answers");
    owe();
}

void Connection::wake() {
    owe();
}

void Connection::owe() {
    if ((!doomed_ || gone_) && !std::exchange(owing_, true))
        owner_.owe(*this);
}

void Connection::settle() {
    owing_ = false;
    pump();
    handle_held();
    count_kept();
}

void Connection::pump() {
    while (!queue_.empty() && !doomed_ && can_start()) {
        Outgoing next = std::move(queue_.front());
        queue_.pop_front();
        queue_bytes_ -= next.message.size();
        start(next.id, next.message);
        if (next.message.capacity() <= kLargestSpare)
            spare_ = std::move(next.message);
    }
    if (queue_.empty())
        start_events();
}

// Events arrive in their order: behind one of several packets the next one waits until the last of them has gone.
void Connection::start_events() {
    while (has_events() && !doomed_ && !is_event_under_way() && can_start()) {
        const std::optional<protocol::Bytes> bytes = take_event(engine_.revision());
        event_under_way_ = next_event_id_;
        next_event_id_ = next_event_id_ == UINT32_MAX ? protocol::kFirstEventId : next_event_id_ + 1;
        start(event_under_way_, *bytes);
    }
}

bool Connection::is_event_under_way() const {
    return event_under_way_ != 0 && endpoint_.is_sending(event_under_way_);
}

// ---- time

std::uint32_t Connection::answers_under_way() const {
    return endpoint_.sending() - (is_event_under_way() ? 1 : 0);
}

bool Connection::is_drained() const {
    return doomed_ || (queue_.empty() && held_.empty() && answers_under_way() == 0);
}

std::optional<std::string> Connection::overdue(std::uint64_t now) const {
    const Limits &limits = engine_.limits();
    // Events may wait for as long as the client likes: past a bound they are dropped.
    const bool half_packet = endpoint_.holds_bytes() && !blocked_; // otherwise it is the daemon that does not go on
    const bool half_way = endpoint_.receiving() != 0 || half_packet || !is_drained();
    if (half_way && now - last_moved_ > limits[Limit::stall] * kMillisecondsPerSecond)
        return "a message has stopped half way for " + std::to_string(limits[Limit::stall]) + " s";
    const std::optional<std::uint32_t> longest = longest_silence(limits, engine_.may_be_silent(*this));
    if (longest && now - last_heard_ > *longest * kMillisecondsPerSecond)
        return "it has been silent for " + std::to_string(*longest) + " s";
    return std::nullopt;
}

} // namespace varnel::daemon
