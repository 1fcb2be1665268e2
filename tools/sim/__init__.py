"""Screen-leakage simulator: an OLED panel over a five-channel light sensor.

Main entry points (see README.md):

  model.reference_unit(), model.make_unit(seed, index)   units
  frames.generate(unit, n, rng, ...)                      random frame batches
  frames.render(unit, screens, conditions, rng)          frames of given content
  session.simulate_session(unit, n, rng, fps)             a recorded session
  factory.lightregression_factory(unit), factory.luxcnn_colour_params(unit),
  factory.luxcnn_location_samples(unit), factory.lightregression_reference_tables(),
  factory.luxcnn_default_weight_map(mode)                 factory and reference data
  calibrate.luminance_table()                             nits by brightness code
  formats.save_dataset / load_dataset / write_session / read_session
"""
