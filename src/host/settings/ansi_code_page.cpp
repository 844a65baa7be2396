#include "host/settings/ansi_code_page.h"

namespace vnq {

std::string AnsiCodePage::ToBytes(std::string_view utf8) const {
  return page_->ToBytes(utf8);
}

std::string AnsiCodePage::FromBytes(std::string_view bytes) const {
  return page_->FromBytes(bytes);
}

std::string AnsiCodePage::FromSingleByte(unsigned char byte) const {
  return page_->FromSingleByte(byte);
}

}  // namespace vnq
