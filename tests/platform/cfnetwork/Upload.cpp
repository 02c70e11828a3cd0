#include "tests/platform/cfnetwork/Upload.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "cfnetwork/CFNetworkErrors.h"

Upload::Upload(const std::string& url, std::string text)
    : stream(
          as<FTPWriteStream>(CFWriteStreamCreateWithFTPURL(NSURL::URLWithString(NSString::stringWithUTF8String(url))))),
      content(std::move(text)),
      atEnd_(NSRunLoop::currentRunLoop(), [this] { close(); }) {
  if (!stream) throw std::invalid_argument("no URL of an item: " + url);
  stream->setDelegate(this);
  stream->scheduleInRunLoop_forMode(NSRunLoop::currentRunLoop(), NSDefaultRunLoopMode());
  stream->setInterruption([this] {
    ++turns_;
    return interruption && interruption();
  });
}

Upload::~Upload() {
  stream->setDelegate(nullptr);
  stream->setInterruption(nullptr);
}

void Upload::run(const std::function<bool()>& until) {
  if (!opened_) {
    opened_ = true;
    stream->setLimits(limits);
    stream->open();
  }
  constexpr std::chrono::seconds longest(90);
  const auto start = std::chrono::steady_clock::now();
  while (!over_ && !(until && until())) {
    if (std::chrono::steady_clock::now() - start > longest) {
      ADD_FAILURE() << "the item does not end";
      break;
    }
    NSRunLoop::currentRunLoop()->runMode_beforeDate(NSDefaultRunLoopMode(), NSDate::dateWithTimeIntervalSinceNow(0.1));
    ++turns_;
  }
  expectCalm();
}

// Every event and every packet may take some turns, waiting takes ten in a second; anything that keeps the loop busy
// takes many thousands.
void Upload::expectCalm() const {
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - started_;
  const double allowed =
      200 + 40 * elapsed.count() + static_cast<double>(content.size() + moved + bytesFromServer) / 1000;
  EXPECT_LE(static_cast<double>(turns_), allowed) << "in " << elapsed.count() << " s";
}

bool Upload::has(NSStreamEvent event) const { return std::find(events.begin(), events.end(), event) != events.end(); }

NSInteger Upload::replyCode() const {
  if (!error || !error->userInfo()) return 0;
  const auto number = as<NSNumber>(error->userInfo()->objectForKey(kCFFTPStatusCodeKey()));
  return number ? number->integerValue() : 0;
}

std::string Upload::errorText() const { return error ? error->localizedDescription()->UTF8String() : ""; }

void Upload::stream_handleEvent(const Ref<NSStream>&, NSStreamEvent event) {
  events.push_back(event);
  switch (event) {
    case NSStreamEventOpenCompleted:
      if (whenOpen) whenOpen();
      break;
    case NSStreamEventHasSpaceAvailable:
      if (whenSpace) whenSpace();
      if (!over_) pump();
      break;
    case NSStreamEventErrorOccurred:
      error = stream->streamError();
      errorCameInsideClose = closing_;
      over_ = true;
      whenError ? whenError() : close();
      break;
    default:
      break;
  }
}

void Upload::pump() {
  do {
    if (source && offset == content.size()) {
      const NSInteger size = stream->writeFromStream_maxLength(*source, 8 << 20);
      if (size == 0) return;
      if (size > 0) {
        moved += static_cast<std::size_t>(size);
        continue;
      }
      readSource();
    }
    const std::size_t size = std::min(pieceSize, content.size() - offset);
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(content.data()) + offset;
    const NSInteger written = stream->write_maxLength(bytes, size);
    if (written < 0) ++failedWrites;
    if (size == 0 && !std::exchange(ended_, true)) atEnd_.signal();
    if (written <= 0) return;
    offset += static_cast<std::size_t>(written);
  } while (stream->hasSpaceAvailable());
}

void Upload::readSource() {
  content.resize(offset + pieceSize);
  const NSInteger size = source->read_maxLength(reinterpret_cast<std::uint8_t*>(content.data()) + offset, pieceSize);
  content.resize(offset + static_cast<std::size_t>(std::max<NSInteger>(size, 0)));
}

void Upload::close() {
  const bool outermost = !std::exchange(closing_, true);
  stream->close();
  if (outermost) closing_ = false;
  over_ = true;
}
