"""Back ends: each folder prints the model in one language, and knows how that looks but no rules of the API."""
