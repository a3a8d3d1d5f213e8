// Template definitions: being written.
