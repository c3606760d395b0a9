#include "sessions/session.h"

#include <algorithm>

namespace ulix {
namespace {

constexpr Milliseconds kOpenPause{1000};

}  // namespace

Session::Session(Link& link, std::unique_ptr<Framer> framer, SessionPeer& peer, Options options)
    : link_(link), framer_(std::move(framer)), peer_(peer), options_(std::move(options)) {}

Session::~Session() { link_.Close(); }

SessionStatistics Session::statistics() const { return counters_.Read(); }

HRESULT Session::Open() {
  const std::lock_guard exchange(exchange_mutex_);
  return state_ == SessionState::kLost ? Restore() : OpenLink();
}

// The machine-wide mutex is free between the attempts.
HRESULT Session::OpenLink() {
  if (link_.IsOpen()) return S_OK;
  HRESULT result = link_.Open();
  for (int attempt = 2; Failed(result) && attempt <= options_.open_attempts && interruptions_ == 0; ++attempt) {
    clock().SleepFor(kOpenPause);
    result = link_.Open();
    if (Succeeded(result) && options_.on_open_retried) options_.on_open_retried(attempt);
  }
  return Failed(result) ? result : TakeOpenedLink();
}

// Prepares a link that was just opened.
HRESULT Session::TakeOpenedLink() {
  framer_->Reset();
  const bool own = options_.timeout_ms != 0;
  const std::uint32_t read_ms = own ? options_.timeout_ms : options_.read_ms;
  const std::uint32_t write_ms = own ? options_.timeout_ms : options_.write_ms;
  const HRESULT result = link_.ApplyTimeouts(read_ms, write_ms);
  if (Failed(result)) {
    link_.Close();
  } else {
    NoteState();
  }
  return result;
}

Expected<bool> Session::Connect() {
  const std::lock_guard exchange(exchange_mutex_);
  if (state_ == SessionState::kLost) CloseLink(SessionState::kClosed);
  connected_ = false;
  identification_.reset();
  refused_.reset();
  if (const HRESULT result = OpenLink(); Failed(result)) return Failure(result);
  const auto started = ShakeHands();
  connected_ = started.value_or(false);
  if (connected_) {
    NoteState();
  } else {
    CloseLink(SessionState::kClosed);
  }
  return started;
}

Expected<bool> Session::ShakeHands() {
  const Raised handshake(shaking_hands_);
  Conversation talk(*this);
  return peer_.StartSession(talk);
}

HRESULT Session::Admit(const std::string& identification, HRESULT other_instrument) {
  if (connected_ && identification_ && *identification_ != identification) {
    refused_ = other_instrument;
    return other_instrument;
  }
  identification_ = identification;
  return S_OK;
}

void Session::Disconnect() {
  InterruptWaits();
  const std::lock_guard exchange(exchange_mutex_);
  ResumeWaits();
  if (link_.IsOpen() && state_ != SessionState::kLost) {
    const Raised handshake(shaking_hands_);
    Conversation talk(*this);
    peer_.EndSession(talk);
  }
  connected_ = false;
  CloseLink(SessionState::kClosed);
}

void Session::CloseLink(SessionState state) {
  link_.Close();
  state_ = state;
}

void Session::InterruptWaits() {
  ++interruptions_;
  link_.InterruptReads();
}

void Session::ResumeWaits() {
  link_.ResumeReads();
  --interruptions_;
}

bool Session::IsBusy() const {
  const std::unique_lock exchange(exchange_mutex_, std::try_to_lock);
  return !exchange.owns_lock();
}

// An exchange in progress notices a loss itself. The link is not closed here but by the next exchange, because closing
// may take time.
HRESULT Session::Presence() {
  const std::unique_lock exchange(exchange_mutex_, std::try_to_lock);
  if (!exchange) return S_OK;
  if (link_.IsOpen() && !link_.DeviceIsThere()) state_ = SessionState::kLost;
  if (state_ != SessionState::kLost) return S_OK;
  return refused_ ? *refused_ : link_.CodeWhileLost(link_.codes().unopened);
}

void Session::NoteLoss() {
  if (link_.IsOpen() && link_.IsLost()) CloseLink(SessionState::kLost);
}

void Session::NoteState() {
  if (!link_.IsOpen()) return;
  if (!outstanding_.empty()) {
    state_ = SessionState::kOutOfSync;
  } else {
    state_ = connected_ ? SessionState::kInSync : SessionState::kOpen;
  }
}

// Makes one attempt only, whatever the options say. The next exchange makes the next attempt.
HRESULT Session::Restore() {
  NoteLoss();
  if (state_ != SessionState::kLost) return link_.IsOpen() ? HRESULT{S_OK} : link_.codes().closed;
  if (refused_) return *refused_;
  link_.Close();
  HRESULT result = link_.Reopen();
  if (Succeeded(result)) result = TakeOpenedLink();
  if (Failed(result)) {
    state_ = SessionState::kLost;
    return link_.CodeWhileLost(result);
  }
  if (connected_) {
    const auto started = ShakeHands();
    if (!started.value_or(false)) {
      CloseLink(SessionState::kLost);
      return started ? link_.codes().closed : started.error();
    }
  }
  ++counters_.reconnections;
  NoteState();
  return S_OK;
}

}  // namespace ulix
