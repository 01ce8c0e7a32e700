export default canBeacon => `<footer>Cards are kept ${canBeacon ? "here and there" : "here"}.</footer>`;
