#include "apps/inspector/text/ProcessReport.h"

#include <gtest/gtest.h>

#include <map>

#include "apps/inspector/model/TextFile.h"
#include "apps/inspector/svg/ProcessTree.h"
#include "apps/inspector/text/Format.h"

namespace corvane::inspector {

namespace {

ProcessRow row(pid_t pid, pid_t parent, std::string name, std::int64_t started = 1) {
  ProcessRow result;
  result.pid = pid;
  result.parent = parent;
  result.user = "somebody";
  result.name = std::move(name);
  result.started = started;
  return result;
}

TEST(ProcessTable, NoLineIsWiderThanTheScreen) {
  std::vector<ProcessRow> rows = {row(1, 0, "a long name of many words"), row(4'194'304, 1, "bad\n\x1b\xff")};
  rows[0].arguments = {"/bin/x", std::string(100, 'p')};
  rows[1].kind = ProcessKind::TRANSLATED;
  const std::string whole = processTable(rows, Glyphs::UNICODE, std::nullopt);
  EXPECT_NE(whole.find("/bin/x " + rows[0].arguments[1] + "\n"), whole.npos);
  EXPECT_NE(whole.find("bad???"), whole.npos);
  std::map<std::string, std::size_t> shown;  // the least width at which each is
  for (std::size_t width = 250; width > 0; --width) {
    const std::string table = processTable(rows, Glyphs::UNICODE, width);
    for (const std::string_view line : linesOf(table)) ASSERT_LE(columnsOf(line), width);
    for (const char* piece : {"Command", "Time", "Parent", "User", "a long name", "4194304"})
      if (table.find(piece) != table.npos) shown[piece] = width;
  }
  EXPECT_LT(shown["Command"], 120U) << "cut before it is left out";
  EXPECT_GT(shown["Command"], shown["Time"]);
  EXPECT_GT(shown["Time"], shown["Parent"]);
  EXPECT_GT(shown["Parent"], shown["User"]);
  EXPECT_LT(shown["a long name"], 50U);
  EXPECT_EQ(shown["4194304"], 7U);
  EXPECT_EQ(linesOf(processTable({}, Glyphs::ASCII, 80)).size(), 1U);
}

TEST(ProcessObject, UnknownIsNull) {
  EXPECT_EQ(
      processObject(row(2, 1, "a\"\xff\n", 1'709'802'301'000'123)),
      R"({"pid":2,"parent":1,"user":"somebody","uid":0,"state":"?","kind":null,"name":"a\")"
      "\uFFFD"
      R"(\u000a","path":null,"command":null,"processor_percent":null,"processor_seconds":0.00,"memory_bytes":0,"threads":0,)"
      R"("started":"2024-03-07T09:05:01.000Z"})");
}

// The nodes by their labels.
std::map<std::string, SvgTree::Tree*> nodesOf(SvgTree::Tree& root) {
  std::map<std::string, SvgTree::Tree*> nodes;
  root.search([&](SvgTree::Tree& node) {
    nodes[node.data()->label] = &node;
    return false;
  });
  return nodes;
}

TEST(ProcessTree, PutsProcessesBelowThoseThatStartedThem) {
  std::vector<ProcessRow> rows = {row(1, 0, "init"),       row(9, 1, "child"),    row(8, 1, "busy"),
                                  row(3, 2, "of nobody"),  row(5, 6, "heir", 10), row(6, 0, "late", 20),
                                  row(7, 7, "of its own"), row(2, 0, "kthreadd"), row(10, 2, "worker"),
                                  row(11, 9, "grandchild")};
  rows[2].processor = 1;
  rows[7].kind = rows[8].kind = ProcessKind::KERNEL;
  const auto root = processTree(rows, 50);
  auto nodes = nodesOf(*root);
  EXPECT_EQ(nodes.size(), 10U);
  EXPECT_EQ(root->data()->label, "10 processes");
  EXPECT_EQ(nodes["9 child"]->parent().get(), nodes["1 init"]);
  EXPECT_EQ(nodes["9 child"]->nextSibling().get(), nodes["8 busy"]) << "in the order of the rows";
  EXPECT_TRUE(nodes["8 busy"]->data()->strong);
  EXPECT_FALSE(nodes["9 child"]->data()->strong);
  for (const char* label : {"1 init", "3 of nobody", "5 heir", "6 late", "7 of its own", "kernel threads"})
    EXPECT_EQ(nodes[label]->parent(), root) << label;
  EXPECT_TRUE(root->rightMostChild()->childrenHidden());
  EXPECT_NE(SvgTree::svg(*root, "T").find("kernel threads <tspan>+2</tspan>"), std::string::npos);
  // A parent in the middle of its children.
  EXPECT_EQ(nodes["1 init"]->location().x, (nodes["9 child"]->location().x + nodes["8 busy"]->location().x) / 2);
  EXPECT_EQ(nodesOf(*processTree(rows, 2)).count("9 child"), 0U) << "too many below init";
  EXPECT_EQ(nodesOf(*processTree({}, 50)).size(), 1U);
}

TEST(ProcessTree, ManyProcessesMakeASmallPicture) {
  std::vector<ProcessRow> rows;
  for (pid_t pid = 1; pid <= 40'000; ++pid) rows.push_back(row(pid, pid < 100 ? pid - 1 : pid / 100, "p", pid));
  const auto root = processTree(rows, std::nullopt);
  EXPECT_LE(nodesOf(*root).size(), MOST_SHOWN);
  EXPECT_GT(nodesOf(*root).size(), 90U);
  rows.resize(300);
  EXPECT_EQ(nodesOf(*processTree(rows, std::nullopt)).size(), 301U) << "nothing need be hidden";
}

}  // namespace

}  // namespace corvane::inspector
