// Pages whose characters are longer than two bytes or depend on a shift state. They have no table
// of Windows to be exact to, so ICU converts them as a whole, with our signs for what is bad.

#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>

#include "platform/posix/codepage_table.h"

namespace platform {
namespace {

void BadBytes(const void*, UConverterToUnicodeArgs* args, const char*, int32_t,
              UConverterCallbackReason reason, UErrorCode* status) {
  if (reason > UCNV_IRREGULAR) return;  // a reset or a close
  *status = U_ZERO_ERROR;
  ucnv_cbToUWriteUChars(args, u"\uFFFD", 1, 0, status);
}

void BadUnits(const void*, UConverterFromUnicodeArgs* args, const UChar*, int32_t length, UChar32,
              UConverterCallbackReason reason, UErrorCode* status) {
  if (reason > UCNV_IRREGULAR) return;
  *status = U_ZERO_ERROR;
  const UChar* sign = u"??";
  ucnv_cbFromUWriteUChars(args, &sign, sign + length, 0, status);
}

class StreamedCodePage : public CodePage {
 public:
  explicit StreamedCodePage(UConverter* opened) : converter(opened, &ucnv_close) {}

  bool SetCallbacks() const {
    UErrorCode status = U_ZERO_ERROR;
    ucnv_setToUCallBack(converter.get(), BadBytes, nullptr, nullptr, nullptr, &status);
    ucnv_setFromUCallBack(converter.get(), BadUnits, nullptr, nullptr, nullptr, &status);
    ucnv_setFallback(converter.get(), false);
    return U_SUCCESS(status);
  }

  std::size_t ValidLength(std::string_view text) const override {
    UErrorCode status = U_ZERO_ERROR;
    ucnv_resetToUnicode(converter.get());
    ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr,
                        &status);
    const char* next = text.data();
    do {
      UChar units[1024];
      UChar* end = units;
      status = U_ZERO_ERROR;
      ucnv_toUnicode(converter.get(), &end, units + 1024, &next, text.data() + text.size(), nullptr,
                     true, &status);
    } while (status == U_BUFFER_OVERFLOW_ERROR);
    const bool valid = U_SUCCESS(status);
    char bad[8];  // what was taken of the character before it proved bad
    auto length = static_cast<std::int8_t>(sizeof bad);
    status = U_ZERO_ERROR;
    ucnv_getInvalidChars(converter.get(), bad, &length, &status);
    ucnv_resetToUnicode(converter.get());
    SetCallbacks();
    return valid ? text.size() : static_cast<std::size_t>(next - text.data() - length);
  }

  void Decode(std::string_view text, std::u16string& out) const override {
    ucnv_resetToUnicode(converter.get());
    const char* next = text.data();
    UErrorCode status = U_BUFFER_OVERFLOW_ERROR;
    while (status == U_BUFFER_OVERFLOW_ERROR) {
      UChar units[1024];
      UChar* end = units;
      status = U_ZERO_ERROR;
      ucnv_toUnicode(converter.get(), &end, units + 1024, &next, text.data() + text.size(), nullptr,
                     true, &status);
      out.append(units, end);
    }
  }

  void Encode(std::u16string_view text, std::string& out) const override {
    ucnv_resetFromUnicode(converter.get());
    const char16_t* next = text.data();
    UErrorCode status = U_BUFFER_OVERFLOW_ERROR;
    while (status == U_BUFFER_OVERFLOW_ERROR) {
      char bytes[1024];
      char* end = bytes;
      status = U_ZERO_ERROR;
      ucnv_fromUnicode(converter.get(), &end, bytes + 1024, &next, text.data() + text.size(),
                       nullptr, true, &status);
      out.append(bytes, end);
    }
  }

 private:
  std::unique_ptr<UConverter, decltype(&ucnv_close)> converter;
};

}  // namespace

std::unique_ptr<CodePage> OpenStreamedCodePage(const PageRow& row) {
  UErrorCode status = U_ZERO_ERROR;
  UConverter* converter = ucnv_open(row.converter, &status);
  if (U_FAILURE(status)) return nullptr;
  auto page = std::make_unique<StreamedCodePage>(converter);
  return page->SetCallbacks() ? std::move(page) : nullptr;
}

}  // namespace platform
