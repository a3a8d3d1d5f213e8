// The reference host's help texts: what the tool is, and the session script format that follows
// the generated list of options in --help.
#ifndef ZARVO_HOST_HELP_TEXT_H
#define ZARVO_HOST_HELP_TEXT_H

namespace zarvo_host {

// The description above the usage line.
extern const char* const kHostDescription;
// The text after the options: the script format, the interactive words, output and exit status.
extern const char* const kSessionHelpFooter;

}  // namespace zarvo_host

#endif  // ZARVO_HOST_HELP_TEXT_H
