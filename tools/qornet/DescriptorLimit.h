#pragma once

/// Gives this process room for tens of thousands of connections: where the limit on open descriptors is lower than that and
/// may be raised, raises it and starts the program anew.
///
/// Anew because the library sizes its descriptor sets once, when it is loaded. To be called before anything else is
/// done; does nothing on the second run. What cannot be raised stays as it is.
void RaiseDescriptorLimit();
