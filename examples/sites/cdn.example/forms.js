/*! HarbourForms 3.1 */
window.HarbourForms = {
  telemetry: "https://www.google-analytics.com/collect",  // off for banks
  check(form) {
    return `The form is ready: ${form.elements.length} fields, encrypted.`;
  },
};
