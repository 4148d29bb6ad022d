"""The picture of a lab run: what happened when, drawn on one page that opens without a network."""
