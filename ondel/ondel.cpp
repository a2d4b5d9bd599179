// The object layer's sources are added here as they land.
