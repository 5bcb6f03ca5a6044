#pragma once

// Where modal messages of the lower floors go. The main program installs the hook (a message box,
// or standard error for a tool), tests install one that records.
namespace morvane {

using MessageHook = void (*)(void* context, const char* caption, const char* text);

// Threads: installed by the main program before any other thread runs, or by a test.
void SetMessageHook(MessageHook hook, void* context);
// Calls the hook on the calling thread, under no lock; with none installed the message is dropped.
// Threads: any.
void ShowMessage(const char* caption, const char* text);

}  // namespace morvane
