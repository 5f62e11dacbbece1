#include "system/AirDrop.h"

#include <gmock/gmock.h>

#include "support/RecordingCommands.h"

namespace tessaline {
namespace {

using testing::ElementsAre;

constexpr auto kInstall =
    R"(do shell script "t=$(/usr/bin/mktemp /private/var/root/tessaline.XXXXXX) && printf '%s\\n' )"
    R"('an.a-_9 ALL=(root) NOPASSWD: /sbin/ifconfig awdl0 down, /sbin/ifconfig awdl0 up' > \"$t\" && )"
    R"(/usr/sbin/visudo -cf \"$t\" && /usr/bin/install -m 0440 -o root -g wheel \"$t\" )"
    R"(/etc/sudoers.d/tessaline; rm -f \"$t\"" with administrator privileges)";

TEST(AirDropTest, InstallsTheRuleOnlyForNamesThatCannotDoHarm) {
  test::RecordingCommands commands;
  const AirDrop airDrop(commands);
  commands.user = "an.a-_9";
  EXPECT_TRUE(airDrop.installHelper());
  EXPECT_THAT(commands.ran, ElementsAre(kInstall));
  for (const auto* name : {"", "an a", "an'a", "an\"a", "a;b", "a\n", "zoë", "a/b", "a$b"}) {
    commands.user = name;
    EXPECT_FALSE(airDrop.installHelper()) << name;
  }
  EXPECT_EQ(commands.ran.size(), 1U);
}

}  // namespace
}  // namespace tessaline
