"""What a diagnostic log says: read, told apart into runs of the program, printed, drawn."""
