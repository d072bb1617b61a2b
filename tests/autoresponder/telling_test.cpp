// A run that only tells.
#include "autoresponder/outgoing/delivery.h"
#include "tests/support/output.h"

namespace {

TEST(TellingRun, CannotSend) {
    const Output output = written_by([] {
        EXPECT_EQ(exit_status_of([] {
                      const ::Run run{Policy()};
                      start_sendmail(run, Descriptor(), "a@example.com", {"b@example.com"});
                  }),
                  1);
    });
    EXPECT_EQ(output.err, "Program failed: a run that only tells was about to send\n");
}

} // namespace
