"""Writers: each prints one construct of the model. They know how the output looks and no rules of the API."""
