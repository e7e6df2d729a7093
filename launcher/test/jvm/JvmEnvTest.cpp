#include "jvm/JvmEnv.h"

#include <gtest/gtest.h>

#include "jvm/JvmHost.h"

namespace {

void expectThrown(const JvmHostRun& run, const std::string& key, int code,
                  const std::string& message) {
    EXPECT_EQ("thrown", run.fact(key)) << key;
    EXPECT_EQ(std::to_string(code), run.fact(key + ".code")) << key;
    EXPECT_EQ(message, run.fact(key + ".message")) << key;
}

// One JVM (run with -Xcheck:jni, so misused references and unchecked exceptions
// are reported on standard error) for the attachment rules, the lookups and the
// ownership of the wrappers.
TEST(JvmEnvTest, AttachmentLookupsAndOwnershipInARealJvm) {
    JvmHostRun run = runJvmHost("jni", primaryJavaHome(), 8);
    ASSERT_EQ(0, run.process.exitCode) << run.process.out << run.process.err;
    EXPECT_EQ(std::string::npos, run.process.err.find("WARNING in native method"))
        << run.process.err;
    EXPECT_EQ(std::string::npos, run.process.err.find("FATAL ERROR")) << run.process.err;

    // The creating thread: a second, named attachment is refused and changes nothing.
    expectThrown(run, "mainCreateNewThread", 20,
                 "Illegal thread state: JvmEnv::createNewThread() was called but current "
                 "thread is already attached to a JVM thread");
    EXPECT_EQ("true", run.fact("mainStillAttached"));
    EXPECT_EQ("true", run.fact("mainAttachedAfterExistingEnv"));
    expectThrown(run, "nullName", 21,
                 "Illegal argument: must create calling thread with a nonnull name");
    expectThrown(run, "nullJvmCreate", 20, "JvmEnv illegal state: jvm must not be null");
    expectThrown(run, "nullJvmAttach", 20, "JvmEnv illegal state: jvm must not be null");

    // A native thread: attachToExistingThread attaches nothing; createNewThread
    // attaches under the name and detaches when its env goes, but an env for the
    // already attached thread does not detach it.
    expectThrown(run, "detachedAttachToExisting", 20,
                 "Illegal thread state: JvmEnv::attachToExistingThread() was called but current "
                 "thread is detached from a JVM thread");
    EXPECT_EQ("true", run.fact("detachedStillDetached"));
    EXPECT_EQ("true", run.fact("probeAttached"));
    EXPECT_EQ("jni-probe-thread", run.fact("probeThreadName"));
    EXPECT_EQ("true", run.fact("probeAttachedAfterExistingEnv"));
    EXPECT_EQ("true", run.fact("probeDetachedAfterEnv"));

    // Lookups fail with catalogue texts and leave the Java exception pending.
    expectThrown(run, "findMissingClass", 5, "Cannot find Java class contract/Missing");
    EXPECT_EQ("true", run.fact("findMissingClassPending"));
    expectThrown(run, "missingStaticMethod", 5,
                 "Cannot find function 'nope' in class 'java/lang/Boolean'");
    EXPECT_EQ("true", run.fact("missingStaticMethodPending"));
    expectThrown(run, "missingField", 5, "IDS_CANNOT_FIND_JFIELD");
    expectThrown(run, "objectClassMissingMethod", 5,
                 "Cannot find function 'nope' in class 'java/lang/Class'");
    EXPECT_EQ("true", run.fact("isStaticMethodExists.present"));
    EXPECT_EQ("false", run.fact("isStaticMethodExists.absent"));
    EXPECT_EQ("false", run.fact("isStaticMethodExists.pending"));
    expectThrown(run, "nullGivenClass", 21,
                 "Illegal Argument: JniClass cannot be constructed with a null givenClass");

    // Moves hand the reference over; the emptied wrapper deletes nothing.
    EXPECT_EQ("true", run.fact("moved.sourceNull"));
    EXPECT_EQ("kept alive", run.fact("moved.value"));
    EXPECT_EQ("true", run.fact("movedClass.sourceNull"));
    EXPECT_EQ("java/lang/String", run.fact("movedClass.name"));
    EXPECT_EQ("true", run.fact("movedClass.usable"));
    EXPECT_EQ("true", run.fact("wrapObject.entityNull"));
    EXPECT_EQ("10", run.fact("wrapObject.length"));
    EXPECT_EQ("false", run.fact("wrapObject.pending"));

    // A variant's probe answers for its own signature only, and clears the lookup.
    EXPECT_EQ("true", run.fact("probe.single"));
    EXPECT_EQ("false", run.fact("probe.two"));
    EXPECT_EQ("false", run.fact("probe.pending"));
}

}  // namespace
