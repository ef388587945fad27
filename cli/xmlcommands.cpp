// kvor xml show, convert: documents read into the generic node, and written again.
#include <algorithm>
#include <memory>
#include <sstream>
#include <stdexcept>

#include "codepages.h"
#include "commands.h"
#include "environment.h"
#include "inputfile.h"
#include "json.h"
#include "kvorlib/datacont.h"
#include "kvorlib/errors.h"
#include "outcome.h"

namespace kvor {
namespace {

constexpr const char* XmlFooter =
    "Elements, attributes and text are what is read; comments, processing instructions, the\n"
    "document type and declarations of name spaces are not kept.\n"
    "\n"
    "Examples:\n"
    "  kvor xml show rules.xml\n"
    "  kvor xml show rules.xml --exact > rules-in-one-line.xml\n"
    "  kvor xml convert rules.xml --cp 1251 --output rules-1251.xml\n";

struct XmlOptions {
  std::vector<std::string> files;
  std::string cp;
  std::string output;
  bool exact = false;
  bool indent = false;
  bool replace = false;
};

void Load(const InputFile& file, XMLDoc& document, datacont& root) {
  document.SetCallback(&root, XMLDoc::DC_READ);
  try {
    if (document.LoadFile(WidePath(file.Path()))) return;
  } catch (const Except&) {
    throw Failure(file.At(1), "the encoding of the XML declaration is not known");
  }
  document.SetCallback(nullptr, XMLDoc::DC_READ);
  const ErrDescr& error = document.GetLastError();
  const std::string column =
      error.GetEColumn() > 0 ? "column " + std::to_string(error.GetEColumn()) + ": " : "";
  throw Failure(file.At(error.GetELine()), column + OneLine(error.GetEMessage()));
}

bool IsBlank(const std::u16string& text) { return text.find_first_not_of(u" \t\r\n") == text.npos; }

// In an element with nothing but elements in it, white space is there for the eye alone.
void DropBlanks(datacont& node) {
  auto& nodes = node.GetNodes();
  const auto isText = [](const datacont& inner) { return inner.GetType() == CT_TEXT; };
  const auto says = [&](const datacont& inner) {
    return isText(inner) && !IsBlank(inner.GetText());
  };
  const bool mixed =
      !IsBlank(node.GetText()) || std::any_of(nodes.begin(), nodes.end(), says) || nodes.empty();
  if (!mixed) {
    nodes.remove_if(isText);
    node.SetText({});
  }
  for (datacont& inner : nodes) DropBlanks(inner);
}

std::string JsonOf(const datacont& node) {
  if (node.GetType() != CT_ELEMENT) return Json("text", Narrow(node.GetText())).Text();
  Json told("tag", Narrow(node.GetTag()));
  Json attributes;
  for (const auto& [name, value] : node.GetAttrs()) attributes(Narrow(name), Narrow(value));
  if (!node.GetAttrs().empty()) told.Raw("attributes", attributes.Text());
  std::string inside;
  for (const datacont& inner : node.GetNodes())
    inside += (inside.empty() ? "" : ",") + JsonOf(inner);
  if (!inside.empty()) told.Raw("nodes", '[' + inside + ']');
  if (!node.GetText().empty()) told("text", Narrow(node.GetText()));
  return told.Text();
}

std::string Exact(const datacont& root) {
  std::basic_ostringstream<char16_t> text;
  root.Dump(text);
  return Narrow(text.str());
}

std::string Indented(XMLDoc& document, datacont& root) {
  std::u16string text;
  document.SetFeatures(XMLDoc::FORMAT);
  document.SetCallback(&root, XMLDoc::DC_WRITE);
  document.SaveString(text);
  std::erase(text, u'\r');
  return Narrow(text.substr(std::min(text.find_first_not_of(u'\n'), text.size())));
}

int ShowOne(Session& session, const XmlOptions& options, const InputFile& file) {
  datacont root;
  XMLDoc document;
  Load(file, document, root);
  if (!options.exact) DropBlanks(root);
  if (session.json) {
    session.out << Json("file", file.Name()).Raw("root", JsonOf(root)).Text() << '\n';
  } else {
    session.out << (options.exact ? Exact(root) : Indented(document, root)) << '\n';
  }
  return Fine;
}

int Show(Session& session, const XmlOptions& options) {
  return ForEachFile(session, options.files,
                     [&](const InputFile& file) { return ShowOne(session, options, file); });
}

void Save(XMLDoc& document, const std::string& path, const XmlOptions& options) {
  const std::string about = options.output.empty() ? "temporary file" : options.output;
  try {
    if (document.SaveFile(WidePath(path))) return;
  } catch (const Except&) {
    throw Failure("", options.cp + ": documents are not written in it");
  } catch (const std::runtime_error& failure) {
    throw Failure(about, failure.what());
  }
  throw Failure(about, OneLine(document.GetLastError().GetEMessage()));
}

int Convert(Session& session, const XmlOptions& options) {
  const InputFile file(options.files.front());
  const int codePage = CodePageFrom(options.cp);
  datacont root;
  XMLDoc document(options.indent ? XMLDoc::FORMAT : XMLDoc::DEFAULT);
  Load(file, document, root);
  const int from = document.GetCP();
  if (options.indent) DropBlanks(root);
  Target target(session.out, options.output, options.replace);
  document.SetCP(codePage);
  document.SetCallback(&root, XMLDoc::DC_WRITE);
  Save(document, target.Path(), options);
  target.Finish();
  if (session.json && !options.output.empty()) {
    session.out << Json("file", file.Name())("from", from)("to", codePage).Text() << '\n';
  }
  return Fine;
}

}  // namespace

void AddXmlCommands(CLI::App& app, Session& session) {
  CLI::App* const xml = app.add_subcommand("xml", "Look at XML documents, change their encoding");
  xml->require_subcommand(1);
  xml->footer(XmlFooter);
  const auto options = std::make_shared<XmlOptions>();
  const auto add = [&](const char* name, const char* description,
                       int (*command)(Session&, const XmlOptions&)) {
    CLI::App* const added = AddCommand(*xml, session, name, description, "");
    added->callback([&session, options, command] {
      session.run = [&session, options, command] { return command(session, *options); };
    });
    return added;
  };
  CLI::App* const show = add("show", "Print what documents hold, indented", Show);
  show->add_option("FILE", options->files, "The documents; - is standard input")->required();
  show->add_flag("--exact", options->exact, "In one line, with all white space");
  CLI::App* const convert = add("convert", "Print a document in another encoding", Convert);
  convert->add_option("FILE", options->files, "The document; - is standard input")
      ->required()
      ->expected(1);
  convert->add_option("--cp", options->cp, "The code page of the result, by number or name")
      ->type_name("N")
      ->required();
  convert->add_flag("--indent", options->indent, "Put elements on lines of their own");
  convert->add_option("--output", options->output, "Make this file")->type_name("TO");
  convert->add_flag("--replace", options->replace, "Write over TO if it exists");
}

}  // namespace kvor
