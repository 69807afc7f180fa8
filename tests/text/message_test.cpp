// CMessage: messages of an application's resource script collected in a
// phrase, with error and warning counts.
#include "zeltools/text/message.h"

#include <climits>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/temp_files.h"
#include "support/test_support.h"
#include "zeltools/text/phrase.h"
#include "zeltools/text/resource.h"

namespace zel {
namespace {

using test::ThrownText;

const std::string scriptPath = ZEL_TEST_SOURCE_DIR "/text/data/message_app.rc";

std::string BadMessage(unsigned int id, const std::string& module) {
  return "Class CMessage: Error in the message " + std::to_string(id) + " \nin library resources " + module;
}

class MessageTest : public ::testing::Test {
protected:
  void SetUp() override { messages_.Init(resource_, list_); }

  test::ScopedLanguage english_{LanguageEnglish};
  CResurce resource_{scriptPath.c_str()};
  CPhrase list_;
  CMessage messages_;
};

TEST_F(MessageTest, PutFormatsTheMessageBlockAndCountsByType) {
  messages_.Put(1, 7);
  messages_.Put(1, 8);
  messages_.Put(2, 12, 99);
  messages_.Put(4, 120, "3 loads");
  messages_.Out(60, "checked by id");
  EXPECT_EQ(messages_.GetQuantityWarning(), 2u);
  EXPECT_EQ(messages_.GetQuantityError(), 2u);

  // text, kind and number of each phrase, in order
  std::ostringstream got;
  for (const CPhraseText& p : list_)
    got << p.GetText() << '|' << int{p.kind} << '|' << p.param1 << '|' << p.param2 << '|' << p.list.size() << '\n';
  EXPECT_EQ(got.str(), "Node 7 is not connected to any element|2|0|1|0\n"
                       "Node 8 is not connected to any element|2|0|1|0\n"
                       "Element 12 refers to node 99,\n\nwhich does not exist|3|0|2|0\n"
                       "Model read: 120 nodes, 3 loads|1|0|4|0\n"
                       "checked by id|3|0|60|0\n");
  messages_.Init(resource_, list_);
  EXPECT_EQ(messages_.GetQuantityWarning(), 0u);
  EXPECT_EQ(messages_.GetQuantityError(), 0u);
}

TEST_F(MessageTest, SevereMessageIsInTheListWhenItThrows) {
  EXPECT_EQ(ThrownText([&] { messages_.Put(3, 41u); }), "SEVERE ERROR");
  ASSERT_EQ(list_.size(), 1u);
  EXPECT_STREQ(list_[0].GetText(), "The stiffness matrix is singular at equation 41");
  EXPECT_EQ(list_[0].kind, CMessage::TypeSevere);
  EXPECT_EQ(messages_.GetQuantityError(), 1u);
}

TEST_F(MessageTest, MissingIdIsReportedAsItStandsWithTypeZero) {
  // A '%' in the module name must not be taken for a conversion.
  test::TempDir dir;
  const std::string odd = dir.Write("app%d%%.rc", "STRINGTABLE BEGIN 1 \"Wone\" END");
  const CResurce module(odd.c_str());
  messages_.Init(module, list_);
  messages_.Put(9);
  ASSERT_EQ(list_.size(), 1u);
  EXPECT_EQ(std::string(list_[0].GetText()), " Not message 90 ::" + odd);
  EXPECT_EQ(list_[0].kind, 0);
  EXPECT_EQ(messages_.GetQuantityError() + messages_.GetQuantityWarning(), 0u);
}

TEST_F(MessageTest, TextsFrom2001CharactersAreFatal) {
  const std::string longest(CMessage::MaxText, 'x');
  messages_.Out(60, longest.c_str());
  ASSERT_EQ(list_.size(), 1u);
  EXPECT_EQ(std::string(list_[0].GetText()), longest);

  const std::string tooLong = longest + 'x';
  EXPECT_EQ(ThrownText([&] { messages_.Out(60, tooLong.c_str()); }), BadMessage(60, scriptPath));
  EXPECT_EQ(list_.size(), 1u);
  EXPECT_EQ(ThrownText([&] { messages_.Error(17); }), BadMessage(17, scriptPath));
  // Reports through an object that was never given a list are refused alike.
  CMessage unready;
  EXPECT_EQ(ThrownText([&] { unready.Put(1, 1); }), BadMessage(1, ""));
}

TEST_F(MessageTest, PutListWritesTheSortedNumbersOrTheSetFlagsOfARangeAsListText) {
  Vector<unsigned int> numbers;
  for (unsigned int n : {7u, 3u, 4u, 5u, 4u})
    numbers.push_back(n);
  messages_.PutList(numbers, 50, "");
  EXPECT_TRUE(numbers.empty());
  ASSERT_EQ(list_.size(), 1u);
  EXPECT_STREQ(list_[0].GetText(), "Elements without a material: 3-5 7");
  EXPECT_EQ(list_[0].list, (std::vector<unsigned int>{3, 4, 5, 7}));
  EXPECT_EQ(list_[0].kind, 4);
  EXPECT_EQ(list_[0].param2, 50);

  messages_.PutList(numbers, 60, "nothing to list");
  EXPECT_EQ(list_.size(), 1u);

  const unsigned char flags[] = {1, 0, 1, 1, 0, 1, 1};
  messages_.PutList(1, 5, flags, 60, 9u);
  ASSERT_EQ(list_.size(), 2u);
  EXPECT_STREQ(list_[1].GetText(), "92 3 5");
  EXPECT_EQ(list_[1].list, (std::vector<unsigned int>{2, 3, 5}));
  messages_.PutList(1, 1, flags, 60, "none set");
  messages_.PutList(4, 4, flags, 60, 1u);
  messages_.PutList(5, 2, flags, 60, "reversed range");
  messages_.PutList(0, UINT_MAX, nullptr, 60, "no flags");
  EXPECT_EQ(list_.size(), 2u);
  messages_.PutList(6, 6, flags, 60, "last ");
  ASSERT_EQ(list_.size(), 3u);
  EXPECT_STREQ(list_[2].GetText(), "last 6");
}

} // namespace
} // namespace zel
