#!/usr/bin/python3
"""Tries scripts/check-interface.sh on a small library: it is described, changed in one place, built
again and compared, once for each change and what has to be said of it.

Usage: try_interface.py CHECK COMPILER
"""

import pathlib
import subprocess
import sys
import tempfile

HEADER = """
#include <string>
#include <vector>

namespace Ondrel {
struct Inner;
enum Level { kLow = 1, kHigh = 2 };
struct Record {
  int number;
  unsigned short level;
  unsigned short flags;
};
struct Entry { int first; Level level; };
class Reader {
public:
  Reader();
  virtual ~Reader();
  virtual int Read();
  virtual int Skip();
  std::string Text() const;
  std::vector<Record> Records() const;
  std::vector<Entry> Entries() const;
  bool Choose(Level level);
private:
  std::string m_text;
  int m_place;
  Inner* m_inner;
};
int Version();
Record Last(const Reader& reader);
}
"""

SOURCE = """
#include <Ondrel/Small.h>

namespace Ondrel {
struct Inner { int count; };
Reader::Reader() : m_text("text"), m_place(0), m_inner(new Inner{}) {}
Reader::~Reader() { delete m_inner; }
int Reader::Read() { return m_place; }
int Reader::Skip() { return ++m_inner->count; }
std::string Reader::Text() const { return m_text; }
std::vector<Record> Reader::Records() const { return {}; }
std::vector<Entry> Reader::Entries() const { return {}; }
bool Reader::Choose(Level level) { return level == kHigh; }
int Version() { return 7; }
Record Last(const Reader&) { return {}; }
}
"""

SAME = "is as described"
GROWN = "has grown"
BROKEN = "has changed in an incompatible way"

# What is changed, the verdict, and the texts that are replaced in the header and in the source.
CHANGES = [
    ("nothing", SAME, []),
    ("a body", SAME, [("return 7;", "return 8;")]),
    ("a type of the library's own", SAME, [("struct Inner { int count; };",
                                            "struct Inner { int count; long more[4]; };")]),
    ("a new function", GROWN, [("int Version();", "int Version(); int Build();"),
                               ("int Version() {", "int Build() { return 1; } int Version() {")]),
    ("a new member function", GROWN, [("bool Choose(Level level);", "bool Choose(Level level); void Reset();"),
                                      ("int Version() {", "void Reader::Reset() {} int Version() {")]),
    ("no function any more", BROKEN, [("int Version();", ""), ("int Version() { return 7; }", "")]),
    ("another argument", BROKEN, [("int Version();", "int Version(int);"),
                                  ("int Version() {", "int Version(int) {")]),
    ("another result", BROKEN, [("int Version();", "long Version();"),
                                ("int Version() {", "long Version() {")]),
    ("another result, of the standard library",
     BROKEN, [("std::string Text() const;", "std::vector<char> Text() const;"),
              ("std::string Reader::Text() const { return m_text; }",
               "std::vector<char> Reader::Text() const { return {}; }")]),
    ("a new member of a record", BROKEN, [("unsigned short flags;", "unsigned short flags; int more;")]),
    ("a new member of a record that stands in a vector alone",
     BROKEN, [("struct Entry { int first;", "struct Entry { int first; int second;")]),
    ("a new private member", BROKEN, [("int m_place;", "int m_place; long m_more;")]),
    ("members in another order", BROKEN, [("unsigned short level;\n  unsigned short flags;",
                                           "unsigned short flags;\n  unsigned short level;")]),
    ("a member of another type and the same size", BROKEN, [("int number;", "float number;")]),
    ("a private text that is a vector", BROKEN, [("std::string m_text;", "std::vector<std::string> m_text;"),
                                                 ('m_text("text")', "m_text()"),
                                                 ("return m_text;", "return {};")]),
    ("a function that is not virtual any more", BROKEN, [("virtual int Skip();", "int Skip();")]),
    ("a new virtual function", BROKEN, [("virtual int Read();", "virtual int Peek(); virtual int Read();"),
                                        ("int Reader::Read()", "int Reader::Peek() { return 0; } int Reader::Read()")]),
    ("virtual functions in another order", BROKEN, [("virtual int Read();\n  virtual int Skip();",
                                                     "virtual int Skip();\n  virtual int Read();")]),
    ("another number of an enumerator", BROKEN, [("kHigh = 2", "kHigh = 3")]),
    ("a new enumerator", SAME, [("kHigh = 2 }", "kHigh = 2, kHighest = 3 }")]),
    ("another size of an enumeration", BROKEN, [("enum Level {", "enum Level : short {")]),
]


def build(folder, compiler, replacements):
    texts = [HEADER, SOURCE]
    for old, new in replacements:
        if not any(old in text for text in texts):
            sys.exit(f"nothing to replace: {old}")
        texts = [text.replace(old, new) for text in texts]
    headers = folder / "Include/Ondrel"
    headers.mkdir(parents=True, exist_ok=True)
    (headers / "Small.h").write_text(texts[0])
    (folder / "Small.cpp").write_text(texts[1])
    subprocess.run([compiler, "-std=c++17", "-g", "-shared", "-fPIC", "-IInclude", "Small.cpp",
                    "-Wl,-soname,libsmall.so.7", "-o", "libsmall.so"], cwd=folder, check=True)


def main(check, compiler):
    failures = 0
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        compare = [check, folder / "small.abi", folder / "libsmall.so", folder / "Include"]
        build(folder, compiler, [])
        subprocess.run([check, "--renew", *compare[1:]], check=True)
        for change, verdict, replacements in CHANGES:
            build(folder, compiler, replacements)
            answer = subprocess.run(compare, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
            if verdict not in answer.stdout or (answer.returncode == 0) != (verdict == SAME):
                failures += 1
                print(f"{change}: expected that the interface {verdict}; status {answer.returncode}:\n"
                      f"{answer.stdout}")
        # Without debug information there is nothing to compare.
        subprocess.run(["strip", "-g", "libsmall.so"], cwd=folder, check=True)
        answer = subprocess.run(compare, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        if answer.returncode == 0 or "no debug information" not in answer.stdout:
            failures += 1
            print(f"a stripped library: status {answer.returncode}: {answer.stdout}")
    print(f"{len(CHANGES) + 1} changes, {failures} misjudged")
    return 1 if failures else 0


sys.exit(main(*sys.argv[1:]))
