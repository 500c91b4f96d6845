#pragma once
// The overwrite question: an encode operation found its output present and
// may not replace it silently, so it waits; the controller answers with the
// batch-wide choice when there is one, or asks the user ("No", "Yes",
// "Skip", with "Apply to all in this batch"). One question is on screen at a
// time; the others wait and are asked in turn as each question ends.
//
// Batch-wide answers (overwriteExistingFilesHandling): 0 ask, 1 skip,
// 2 overwrite, 3 write under a new unique name. A run starts at 0.
//
// Threads: main thread. waitingUserInputDidChange() is called while the
// operation's own thread waits for it, so an answer that runs the operation
// again is carried out from the event loop.

class ApplicationController;
class EncodeOperation;

class OverwriteQuestion
{
public:
    static const char* const kMessage;          // "The file \"%@\" already exists."
    static const char* const kInformativeText;  // "Do you want to overwrite the existing file?"
    static const char* const kSuppressionTitle; // "Apply to all in this batch"

    explicit OverwriteQuestion(ApplicationController& controller) : m_controller(controller) {}

    void waitingUserInputDidChange(EncodeOperation* operation);
    void alertDidEnd(EncodeOperation* operation, int button, bool applyToAll);

private:
    void ask(EncodeOperation* operation);
    static void skip(EncodeOperation* operation);
    static void overwrite(EncodeOperation* operation);
    static void renameAndRestart(EncodeOperation* operation);
    static void restartLater(EncodeOperation* operation);

    ApplicationController& m_controller;
};
