// The machine's legacy code page, in the form that the text codecs take it.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/system/code_page.h"
#include "support/ansi_text.h"

namespace vnq {

class AnsiCodePage : public AnsiText {
 public:
  /// page  shared, never null.
  explicit AnsiCodePage(std::shared_ptr<const CodePage> page) : page_(std::move(page)) {}

  std::string ToBytes(std::string_view utf8) const override;
  std::string FromBytes(std::string_view bytes) const override;
  std::string FromSingleByte(unsigned char byte) const override;

  const CodePage& page() const { return *page_; }

 private:
  std::shared_ptr<const CodePage> page_;
};

}  // namespace vnq
