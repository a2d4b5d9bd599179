// The partial library's sources are added here as they land.
