// Identity of the agent library, printed by the tools' --version.
extern const char* const ofa_version_text = "openflowAgtd 0.1";
