// The generic node of an XML document, for callers that have no class of their own for it.
//
//   datacont root;
//   XMLDoc doc;
//   doc.SetCallback(&root, XMLDoc::DC_READ);
//   if (doc.LoadFile(u"books.xml"))
//     for (const datacont& book : root.GetNodes()) titles += book.GetAttrs().at(u"title");
//
// Mixed content keeps its order: text before a child is a node of its own in front of it, and the
// text behind the last child is the element's.
#pragma once

#include <list>
#include <ostream>
#include <string>

#include "kvorlib/export.h"
#include "kvorlib/xmldoc.h"

enum cont_type : int {
  CT_ELEMENT = 0,
  CT_TEXT = 1,  // text before a child; only the text counts
  CT_RAW = 3,   // printed by Dump like text, and not written by a document
};

// An element with all that is in it, or a piece of text. A value: copies share nothing, and belong
// to no document.
//
// A node with an empty tag that is set as a read callback takes the first element for its own; one
// with a tag takes it for a child. It leaves the document's read stack at its end tag, so it is set
// again before each load. When a load fails, nodes are left on the stack: set another callback
// before they go.
//
// Nodes raise no diagnostics.
class KVORLIB_API datacont : public DataConstr {
 public:
  datacont() = default;
  explicit datacont(cont_type nodeType) : type(nodeType) {}
  explicit datacont(const std::u16string& name) : tag(name) {}
  datacont(const datacont& other);
  // The document stays.
  datacont& operator=(const datacont& other);

  bool ReadStartElement(const std::u16string& name, const XMLAttrs& startAttrs) override;
  bool ReadEndElement(const std::u16string& name) override;
  bool ReadCharacters(const std::u16string& more) override;
  // False for types other than CT_ELEMENT and CT_TEXT, and with no document. Inner nodes of such
  // types are left out.
  bool StartWriting() const override;
  virtual ~datacont() = default;

  // Exchanges all but the type: this node takes the other's, and the other keeps its own. If one
  // of the two lies inside the other, the outer one becomes what the inner one was, and all else,
  // the inner node itself too, is gone.
  void swap(datacont& other);

  cont_type GetType() const { return type; }
  void SetType(cont_type nodeType) { type = nodeType; }
  std::u16string& GetTag() { return tag; }
  const std::u16string& GetTag() const { return tag; }
  void SetTag(const std::u16string& name) { tag = name; }
  std::u16string& GetText() { return text; }
  const std::u16string& GetText() const { return text; }
  void SetText(const std::u16string& newText) { text = newText; }
  XMLAttrs& GetAttrs() { return attrs; }
  const XMLAttrs& GetAttrs() const { return attrs; }
  void SetAttrs(const XMLAttrs& newAttrs) { attrs = newAttrs; }
  // A node keeps its address while others come and go.
  std::list<datacont>& GetNodes() { return nodes; }
  const std::list<datacont>& GetNodes() const { return nodes; }
  void SetNodes(const std::list<datacont>& newNodes) { nodes = newNodes; }

  // Both leave tag and type out.
  void clear();
  bool is_empty() const { return text.empty() && attrs.empty() && nodes.empty(); }

  // Prints the node as XML in one line: no declaration, no indentation, attributes in the order of
  // their names.
  void Dump(std::basic_ostream<char16_t>& stream) const;

  // `out` becomes `in`, escaped: in an attribute's value "&", "<", ">", quotation marks of both
  // kinds, tab, line feed and carriage return; in text only "&" and "<".
  static void ConvString(std::u16string& out, const std::u16string& in, bool attr);

  bool operator==(const datacont& other) const;

 protected:
  // Writes the text to the stream, escaped in the same way.
  static void PutString(std::basic_ostream<char16_t>& stream, const std::u16string& in, bool attr);

 private:
  cont_type type = CT_ELEMENT;
  std::u16string tag;
  std::u16string text;  // of an element: behind its last child
  XMLAttrs attrs;
  std::list<datacont> nodes;

  bool IsIn(const std::list<datacont>& tree) const;
};
