"""The package around the extension modules. Importing it imports none of them."""
