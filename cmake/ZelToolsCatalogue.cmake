# catalogue: compiled from zeltools/resources at build time (see errors/)
