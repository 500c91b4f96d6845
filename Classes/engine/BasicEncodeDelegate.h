#pragma once
// An encode-operation delegate that owns its own tagging thread and list of
// created paths: what a program without the application controller (the
// command-line tools, the benchmark driver, the tests) hands to its
// operations. Create and destroy it on the main thread, after every
// operation using it has finished.

#include "EncodeOperationDelegate.h"
#include "TaggingThread.h"

class BasicEncodeDelegate : public EncodeOperationDelegate
{
public:
    TaggingThread* taggingThread() override { return &m_taggingThread; }
    QStringList& createdOutputPaths() override { return m_createdOutputPaths; }

private:
    TaggingThread m_taggingThread;
    QStringList m_createdOutputPaths;
};
