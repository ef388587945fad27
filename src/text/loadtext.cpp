// A text that is owned, and read from a file of either encoding.

#include <cstring>
#include <exception>
#include <limits>
#include <utility>

#include "kvorlib/encoding.h"
#include "kvorlib/textbuffer.h"
#include "platform/file.h"
#include "util/currentcodepage.h"

namespace {

std::string Utf8Name(const char* name) { return name; }
std::string Utf8Name(const char16_t* name) {
  return w_u8(name, name + std::char_traits<char16_t>::length(name));
}

// All bytes of a plain file. False when there is none, or it cannot be read or counted in an int.
bool ReadFile(const std::string& path, std::string& bytes) {
  int error = 0;
  const auto file =
      platform::OpenFile(path, platform::OpenMode::ReadOnly, platform::Sharing::All, error);
  if (file == nullptr) return false;
  const std::int64_t size = file->Size();
  if (size < 0 || size > std::numeric_limits<int>::max()) return false;
  bytes.assign(static_cast<std::size_t>(size), '\0');
  if (bytes.empty()) return true;
  const std::ptrdiff_t got = file->Read(0, bytes.data(), bytes.size());
  if (got <= 0) return false;
  bytes.resize(static_cast<std::size_t>(got));
  return true;
}

// The units behind a mark of either order. Nothing is swapped.
std::u16string Units(const std::string& bytes) {
  std::u16string units(bytes.size() / 2, u'\0');
  std::memcpy(units.data(), bytes.data(), units.size() * 2);
  if (!units.empty() && (units[0] == 0xFEFF || units[0] == 0xFFFE)) units.erase(0, 1);
  return units;
}

void FromUnits(std::u16string units, std::u16string& text) { text = std::move(units); }
void FromUnits(const std::u16string& units, std::string& text) { text = U2A(units, -1, true); }

void FromBytes(std::string bytes, std::string& text) { text = std::move(bytes); }
void FromBytes(const std::string& bytes, std::u16string& text) {
  // By its number: under 0 long texts in UTF-8 would be cut within characters.
  text = A2U(bytes, util::EffectiveCodePage(), true);
}

}  // namespace

template <class T>
LoadText<T>::LoadText(const T* fileName, const TransArray<T>* translation) {
  Load(fileName, translation);
}

template <class T>
LoadText<T>::LoadText(const LoadText& source) : DefText<T>(source) {
  *this = source;
}

// A cursor that went on pointing into the source's string would die with it.
template <class T>
LoadText<T>& LoadText<T>::operator=(const LoadText& source) {
  if (this == &source) return *this;
  std::basic_string<T> copied = source.owned;
  DefText<T>::operator=(source);
  owned = std::move(copied);
  if (source.GetText() == source.owned.data()) {
    const auto offset = source.GetCurrPos() - source.GetText();
    DefText<T>::SetText(BASE_STRING<T>(owned.data(), source.GetTextLen()));
    DefText<T>::SetCurPos(owned.data() + offset);
  }
  return *this;
}

template <class T>
bool LoadText<T>::Load(const T* fileName, const TransArray<T>* translation) {
  try {
    // The name may lie in the text that goes.
    const std::string path = Utf8Name(fileName);
    owned.clear();
    DefText<T>::SetText({});
    std::string bytes;
    if (!ReadFile(path, bytes)) return false;
    if (bytes.empty()) return true;
    std::basic_string<T> text;
    if (CheckUnicode(bytes.data(), static_cast<int>(bytes.size())))
      FromUnits(Units(bytes), text);
    else
      FromBytes(std::move(bytes), text);
    // A line end may have become two characters.
    constexpr std::size_t most = std::numeric_limits<std::int32_t>::max();
    if (translation != nullptr && text.size() <= most)
      translation->Translate({text.data(), static_cast<std::int32_t>(text.size())}, text);
    if (text.size() > most) return false;
    Take(std::move(text));
    return true;
  } catch (const std::exception&) {
    // No memory, or a current code page that the platform cannot convert.
    return false;
  }
}

template <class T>
void LoadText<T>::SetText(const BASE_STRING<T>& text) {
  Take(text.len > 0 ? std::basic_string<T>(text.ptr, static_cast<std::size_t>(text.len))
                    : std::basic_string<T>());
}

template <class T>
void LoadText<T>::SetText(const std::basic_string<T>& text) {
  Take(text);
}

template <class T>
void LoadText<T>::Take(std::basic_string<T> text) {
  owned = std::move(text);
  DefText<T>::SetText(BASE_STRING<T>(owned.c_str(), -1));
}

template class LoadText<char>;
template class LoadText<char16_t>;
