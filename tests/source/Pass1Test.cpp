// Pass 1: function and object records, scopes, aliases and the warnings
// about what the compiler left out.
#include <map>

#include "PassTestUtil.h"

using passtest::RunPasses;
using passtest::WriteFiles;

namespace {

// Each function's scope and file, by key.
std::map<std::string, std::string> Scopes(const FileParser& p) {
  std::map<std::string, std::string> functions;
  for (const auto& [key, f] : p.functionMap) functions[key] = scopestring[f->Scope] + (" " + f->Path);
  return functions;
}

// foo_thunk: is on line 10, h: on line 18.
const char* const kLabels =
    "\t.text\n\t.file\t\"a.c\"\n\t.globl\tf\n\t.type\tf,@function\nf:\n\tallocframe(#8)\n.L_bb1:\n1:\n\tjump 1b\n"
    "foo_thunk:\n\t.globl\tf_entry\nf_entry:\n\tjumpr r31\n\t.size\tf, .Lend-f\n\t.type\ts,@function\ns:\n"
    "\tjumpr r31\nh:\n\tnop\n\t.size\ts, 4\n.set\tother_name, f\n";

TEST(Pass1, LabelsMakeFunctionsAliasesAndWarnings) {
  testutil::TempDir dir;
  FileParser p;
  p.guiMode = true;
  const auto paths = WriteFiles(dir, {{"a.s", kLabels}});
  const std::string& a = paths[0];
  EXPECT_EQ(RunPasses(p, paths, false),
            "45: Warning: Label foo_thunk does not begin with .L in file " + a + "\n47: Line 10: foo_thunk:\n" +
                "41: Warning: Missing @function declaration for h in file " + a + "\n47: Line 18: h:\n" +
                "41: Warning: Missing .size directive for function h in file " + a + "\n");
  EXPECT_EQ(Scopes(p), (std::map<std::string, std::string>{
                          {"f", "Global " + a}, {"h-of-a.s", "Local " + a}, {"s-of-a.s", "Local " + a}}));
  // Only the missing .size is stored: the other two name no record yet.
  ASSERT_EQ(p.warnings.size(), 1u);
  EXPECT_TRUE(p.warnings[0].Key == "h-of-a.s" && p.warnings[0].LineNum == -1);
  std::string aliases;
  for (const AliasEntry& e : p.aliasList) aliases += e.alias + ">" + e.target + std::to_string(e.flag) + " ";
  EXPECT_EQ(aliases, "foo_thunk>f1 f_entry>f0 other_name>f0 ");
}

TEST(Pass1, ScopesCollisionsAndReplacement) {
  testutil::TempDir dir;
  FileParser p;
  p.guiMode = true;
  ASSERT_EQ(p.CreateAidFuncItem("aidfn", 100, Global), 0);
  auto fn = [](const std::string& bind, const std::string& name) {  // 4 bytes with the given binding
    return (bind.empty() ? "" : "\t" + bind + " " + name + "\n") + "\t.type " + name + ",@function\n" + name +
           ":\n\t.size " + name + ", 4\n";
  };
  const auto paths = WriteFiles(
      dir, {{"a.s", kLabels},
            {"b.s", "\t.file \"b.c\"\n" + fn(".globl", "f") + fn(".weak", "w") + fn(".globl", "g") + fn("", "s")},
            {"c.s", "\t.file \"c.c\"\n" + fn(".globl", "w") + fn(".weak", "g") + fn(".globl", "aidfn")}});
  p.warnBadLabel = p.warnAtFunction = p.warnFuncSize = false;
  EXPECT_EQ(RunPasses(p, paths), "48: Warning: Global collision for function f in file " + paths[1] +
                                     "\n49: Forcing to local, subsequent references will use first instance from file " +
                                     paths[0] + "\n");
  // Collisions stay local; a global replaces a weak one, a weak one after a
  // global is ignored; static functions of one name stay apart.
  const std::string a = " " + paths[0], b = " " + paths[1], c = " " + paths[2];
  EXPECT_EQ(Scopes(p), (std::map<std::string, std::string>{
                          {"f", "Global" + a}, {"f-of-b.s", "Local" + b}, {"w", "Global" + c}, {"g", "Global" + b},
                          {"s-of-a.s", "Local" + a}, {"s-of-b.s", "Local" + b}, {"h-of-a.s", "Local" + a},
                          {"aidfn", "Global" + c}}));
  // An aid-file figure gives way to the definition in the sources.
  const __func_attr* aid = p.FindFuncItem("aidfn");
  EXPECT_TRUE(aid->Stack == 0 && !aid->IsAidEntry && !aid->IsReplaceable && aid->IsFound);
}

TEST(Pass1, DataObjectsAndTheirSizes) {
  testutil::TempDir dir;
  FileParser p;
  p.guiMode = true;
  const auto paths = WriteFiles(
      dir, {{"e.s", "\t.file \"e.c\"\n\t.data\n\t.globl gobj\n\t.type gobj,@object\ngobj:\n\t.size gobj, 40\n"},
            {"d.s",  // ghost is on line 16
             "\t.file\t\"d.c\"\n\t.comm\tctext,4,4\n\t.data\n\t.globl\tobj\n\t.type\tobj,@object\nobj:\n"
             "\t.space\t12\n\t.space\t4\n\t.size\tobj, 2 * 10 // bytes\n\t.type\tlast,@object\n\t.comm\tlast,2,2\n"
             "\t.lcomm\tlc,64,8\nbuf:\n\t.space\t8\n\t.type\tnosize,@object\n\t.size\tghost, 4\n\t.weak\tgobj\n"
             "\t.type\tgobj,@object\ngobj:\n\t.space\t100\n\t.size\tgobj, 100\n.L.str:\n"
             "\t.section .text\n\t.lcomm\tltext,4\n"}});
  const std::string& d = paths[1];
  EXPECT_EQ(RunPasses(p, paths), "42: Warning: Missing @object declaration for buf in file " + d + "\n" +
                                     "44: Warning: Memory .size for object ghost failed for no current object in file " +
                                     d + "\n47: Line 16: \t.size\tghost, 4\n" +
                                     "44: Warning: Missing .size directive for object buf in file " + d + "\n" +
                                     "44: Warning: Missing .size directive for object nosize in file " + d + "\n");
  std::map<std::string, std::pair<int, int>> objects;  // key -> size, scope
  for (const auto& [key, object] : p.memoryMap) objects[key] = {object->Size, object->Scope};
  EXPECT_EQ(objects, (std::map<std::string, std::pair<int, int>>{
                         {"obj", {20, Global}}, {"last", {2, Global}}, {"lc-of-d.s", {64, Local}},
                         {"buf-of-d.s", {8, Local}}, {"nosize-of-d.s", {-1, Local}}, {"gobj", {40, Global}}}));
  EXPECT_EQ(p.FindMemItem("gobj")->Path, paths[0]);
}

}  // namespace
