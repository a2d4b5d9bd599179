// Filled in by the module's owner.
